// SPDX-License-Identifier: MIT
// Samples as a bulk endpoint carries them: little-endian, whatever the host's own byte order is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace feedline::emulator {

/// Words of 16 bits, signed or not. Writes 2 * count bytes.
template <typename Word>
void storeWords(const Word* words, std::size_t count, std::uint8_t* out) {
    static_assert(sizeof(Word) == 2);
    for (std::size_t i = 0; i < count; ++i) {
        const auto word = static_cast<std::uint16_t>(words[i]);
        out[2 * i] = static_cast<std::uint8_t>(word);
        out[2 * i + 1] = static_cast<std::uint8_t>(word >> 8);
    }
}

/// Eight samples of 12 bits in three 32-bit words, the first one in the highest bits of the first
/// word. `count` is a multiple of 8; writes count * 3 / 2 bytes.
void packSamples(const std::uint16_t* samples, std::size_t count, std::uint8_t* out);

} // namespace feedline::emulator
