// SPDX-License-Identifier: MIT
// How much of something a reliability test does: a short form unless the environment asks for more.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace feedline::test {

inline std::uint64_t amount(const char* variable, std::uint64_t shortForm) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : shortForm;
}

} // namespace feedline::test
