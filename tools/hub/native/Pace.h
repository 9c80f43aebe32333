// SPDX-License-Identifier: MIT
// How many datagrams may leave at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace feedline::hub {

/// Samples come in bursts: an AirSpy's 256 datagrams every 26 ms, a cut channel's every 20 ms. Sent
/// back to back a large burst is more than a client's usual receive buffer holds (some 92
/// datagrams), so it is spread over the time until the next one: each tick sends a tenth more than
/// the rate's share of it. A few datagrams fit any buffer and go at once. For one thread.
class Pace {
public:
    static constexpr std::chrono::milliseconds tick{2};
    static constexpr std::size_t atOnce = 16; ///< datagrams that always may leave together

    /// @param rate  IQ pairs a second
    void setRate(std::uint32_t rate);

    /// Datagrams that one tick may send of so many that wait. A queue that has grown beyond some
    /// bursts is sent faster, so that a pause of this machine does not become a lasting delay.
    std::size_t share(std::size_t waiting);

private:
    double perTick_ = 1;
    double carried_ = 0; ///< part of a datagram that earlier ticks left over
};

} // namespace feedline::hub
