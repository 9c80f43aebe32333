// SPDX-License-Identifier: MIT
// A stream of datagrams at any rate, with losses, repeats, new counts and silences where a test
// wants them.
#pragma once

#include "Loopback.h"
#include "stream/DataDatagram.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <thread>

namespace feedline::test {

/// I, Q, I, Q and so on.
using DatagramSamples = std::array<std::int16_t, datagram::entries>;

/// A whole datagram as it goes on the wire.
std::array<std::uint8_t, datagram::size> wireDatagram(std::uint16_t number,
                                                      const DatagramSamples& samples);

/// What becomes of a datagram.
struct Fate {
    bool lost = false; ///< it keeps its number, and is not sent
    bool twice = false;
    bool countsAnew = false;             ///< its number is 0, and the next one's is 1
    std::chrono::milliseconds silence{}; ///< before it
};

/// Places count the datagrams, lost ones too. The functions are called on the sending
/// thread, once for each place in order.
struct StreamPlan {
    double pairsPerSecond = 768000;
    std::size_t burst = 8; ///< datagrams back to back; the rate is kept by the pauses between
    std::int64_t firstPlace = 0;
    std::uint16_t firstNumber = 0;
    std::int64_t end = std::numeric_limits<std::int64_t>::max(); ///< the place at which it ends
    /// Zeros when empty.
    std::function<void(std::int64_t place, DatagramSamples& samples)> signal{};
    /// All are sent when empty.
    std::function<Fate(std::int64_t place)> fate{};
};

/// Sends to a port of the loopback address, from its making on, until the plan's end or its own.
class ScriptedStream {
public:
    ScriptedStream(std::uint16_t port, StreamPlan plan);
    ScriptedStream(const ScriptedStream&) = delete;
    ScriptedStream& operator=(const ScriptedStream&) = delete;
    ~ScriptedStream();

    /// The next place. Any thread.
    std::int64_t place() const { return place_; }

    /// Ends it, and gives the plan for its continuation.
    StreamPlan stop();

private:
    using Clock = std::chrono::steady_clock;

    void run();
    bool sendOne();
    bool pauseUntil(Clock::time_point time) const;

    std::uint16_t port_;
    StreamPlan plan_;
    std::uint16_t number_;
    OwnedDescriptor socket_;
    Clock::duration late_{}; ///< the silences so far
    std::atomic<std::int64_t> place_;
    std::atomic<bool> ends_ = false;
    std::thread thread_;
};

} // namespace feedline::test
