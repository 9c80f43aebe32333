// SPDX-License-Identifier: MIT
// Which sample rates a channel can have.
//
// The band is transformed in blocks of 25 ms, of which the first 5 ms repeat the end of the block
// before. A rate of a multiple of 200 has whole numbers of pairs in either.
#pragma once

#include <cstdint>

namespace feedline::hub {

constexpr std::uint32_t rateStep = 200;        ///< Hz
constexpr std::uint32_t lowestRate = 8000;     ///< Hz
constexpr std::uint32_t highestRate = 3200000; ///< Hz; above it only the received rate itself

constexpr std::uint32_t transformsPerSecond = 40; ///< a block of the transform is 1/40 s: 25 ms
constexpr std::uint32_t hopsPerSecond = 50;       ///< a new one every 1/50 s: 20 ms
static_assert(rateStep % transformsPerSecond == 0 && rateStep % hopsPerSecond == 0);

/// The rate that a channel gets when it asks for `wanted`: the nearest multiple of 200 from 8,000
/// to the greater of `received` and 3,200,000. Exactly the received rate stays what it is. With an
/// unknown received rate (0) the limit is 3,200,000.
std::uint32_t channelRate(std::uint32_t wanted, std::uint32_t received);

/// The rate under which the hub takes a measured stream: the nearest multiple of 200.
std::uint32_t receivedRate(double measured);

} // namespace feedline::hub
