// The packed form of 12-bit samples: eight in three little-endian 32-bit words, the first sample in
// the highest bits of the first word.
#pragma once

#include <cstddef>
#include <cstdint>

namespace feedline::emulator {

/// `count` is a multiple of 8; writes count * 3 / 2 bytes.
void packSamples(const std::uint16_t* samples, std::size_t count, std::uint8_t* out);

} // namespace feedline::emulator
