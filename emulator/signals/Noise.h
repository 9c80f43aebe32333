// SPDX-License-Identifier: MIT
// Noise that costs a table look-up.
#pragma once

#include <cstdint>

namespace feedline::emulator {

/// `blockSize` values of white noise with a standard deviation of 1, for the block that begins at
/// `position`: a place of a long table that depends on position and salt only. Any thread.
const float* noiseFor(std::uint64_t position, std::uint32_t salt);

} // namespace feedline::emulator
