// SPDX-License-Identifier: MIT
#include "emulator/receivers/Packing.h"

#include <array>

namespace feedline::emulator {
namespace {

void storeWord(std::uint8_t* out, std::uint32_t word) {
    out[0] = static_cast<std::uint8_t>(word);
    out[1] = static_cast<std::uint8_t>(word >> 8);
    out[2] = static_cast<std::uint8_t>(word >> 16);
    out[3] = static_cast<std::uint8_t>(word >> 24);
}

} // namespace

void packSamples(const std::uint16_t* samples, std::size_t count, std::uint8_t* out) {
    for (std::size_t i = 0; i + 8 <= count; i += 8, out += 12) {
        std::array<std::uint32_t, 8> s{};
        for (std::size_t k = 0; k < s.size(); ++k)
            s[k] = samples[i + k] & 0xFFFU;
        storeWord(out, s[0] << 20 | s[1] << 8 | s[2] >> 4);
        storeWord(out + 4, s[2] << 28 | s[3] << 16 | s[4] << 4 | s[5] >> 8);
        storeWord(out + 8, s[5] << 24 | s[6] << 12 | s[7]);
    }
}

} // namespace feedline::emulator
