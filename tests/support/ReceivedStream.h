// SPDX-License-Identifier: MIT
// Everything that arrives of a stream, taken on a thread of its own while the test does other
// things: counts, times of arrival, and the newest samples.
#pragma once

#include "Bytes.h"
#include "DatagramReceiver.h"
#include "Spectrum.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace feedline::test {

/// Receives from its making on. Methods: any thread.
class ReceivedStream {
public:
    ReceivedStream();
    ~ReceivedStream();
    ReceivedStream(const ReceivedStream&) = delete;
    ReceivedStream& operator=(const ReceivedStream&) = delete;

    std::uint16_t port() const { return receiver_.port(); }

    struct Arrival {
        std::uint16_t number;
        std::chrono::nanoseconds time; ///< when the kernel had it, by the wall clock
    };
    struct Counts {
        std::size_t datagrams = 0;
        std::size_t malformed = 0;  ///< of another length or header
        std::size_t gaps = 0;       ///< numbers that do not follow the one before
        std::size_t fromZero = 0;   ///< of the gaps, those to the number 0
        std::size_t lost = 0;       ///< numbers missing in the other gaps
        std::size_t overflowed = 0; ///< lost for want of room in the receive buffer
    };
    Counts counts() const;
    std::vector<Arrival> arrivals() const; ///< of every datagram so far

    bool waitForDatagrams(std::size_t inAll) const;

    /// Waits until none has come for the time; false if they never cease.
    bool waitForSilence(std::chrono::milliseconds length) const;

    /// The pairs of so many datagrams in a row, beginning with one that arrives `after` so many in
    /// all; fewer pairs when they do not come.
    Samples samples(std::size_t datagrams, std::size_t after) const;
    Samples nextSamples(std::size_t datagrams) const;

private:
    void receiveAll();
    void keep(const DatagramReceiver::Datagram& datagram);
    bool waitUntil(const std::function<bool()>& condition) const;

    DatagramReceiver receiver_;
    OwnedDescriptor stop_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Counts counts_;
    std::vector<Arrival> arrivals_;
    std::deque<Bytes> kept_; ///< the newest, for their samples
    std::thread thread_;
};

/// Pairs per second by the times of arrival: the slope of the line through the first datagrams of
/// every `burst`, so that one that was late counts for little.
double pairRate(const std::vector<ReceivedStream::Arrival>& arrivals, std::size_t burst);

} // namespace feedline::test
