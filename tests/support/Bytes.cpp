// SPDX-License-Identifier: MIT
#include "Bytes.h"

#include <array>
#include <cstdio>

namespace feedline::test {

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%s%02X", text.empty() ? "" : " ", byte);
        text += digits.data();
    }
    return text;
}

} // namespace feedline::test
