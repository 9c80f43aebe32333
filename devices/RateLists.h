// SPDX-License-Identifier: MIT
// What both back-ends ask of a newly opened receiver in the same way.
#pragma once

#include <array>
#include <cstdint>

namespace feedline {

constexpr int mostSerials = 10; ///< receivers listed at most

/// Firmware version as the libraries fill it: untouched when the request fails, and not always
/// terminated, so it starts zeroed and its last byte stays zero.
using VersionText = std::array<char, 64>;

/// A zeroed list for `count` sample rates in hertz, kept for the life of the process. It has room
/// for one entry even when `count` is 0: asked for none, the libraries still write one.
std::uint32_t* newRateList(std::uint32_t count);

void logRates(const std::uint32_t* rates, std::uint32_t count);

} // namespace feedline
