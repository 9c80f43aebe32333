// SPDX-License-Identifier: MIT
// One piece of the received band, as it lies in the ring that all listeners share.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace feedline::hub {

using Clock = std::chrono::steady_clock;

/// Received IQ pairs since the hub began, lost ones counted. Never goes back.
using Position = std::int64_t;

/// The full scale of a received sample: +-1.0 as a float is +-32768 as a 16-bit number. A power of
/// two, so that going from one to the other and back changes nothing.
constexpr float fullScale = 32768.0F;

/// Some IQ pairs without a gap, of one frequency and one rate. Written once by the band's thread,
/// then read by any number of threads and changed by none.
struct Block {
    Position position = 0;             ///< of the first pair
    std::uint64_t lost = 0;            ///< received pairs missing just before the first one
    bool fresh = false;                ///< begins anew: what came before has nothing to do with it
    std::uint32_t frequency = 0;       ///< centre frequency, Hz
    std::uint32_t rate = 0;            ///< IQ pairs a second
    Clock::time_point arrival;         ///< when the last pair came in from the network
    std::vector<std::int16_t> samples; ///< I, Q, I, Q, ... as received

    std::size_t pairs() const { return samples.size() / 2; }
    Position end() const { return position + static_cast<Position>(pairs()); }
};
using BlockPointer = std::shared_ptr<const Block>;

} // namespace feedline::hub
