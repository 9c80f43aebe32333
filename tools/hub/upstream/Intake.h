// SPDX-License-Identifier: MIT
// Puts what was received into the band, on the receive thread.
#pragma once

#include "tools/client/RateFinder.h"
#include "tools/client/Receivers.h"
#include "tools/client/StreamOrder.h"
#include "tools/hub/band/Band.h"

#include <atomic>
#include <cstdint>
#include <span>

namespace feedline::hub {

/// The band's writer. Its functions as a sink are for the receive thread.
class Intake : public client::StreamSink {
public:
    explicit Intake(Band& band) : band_(band) {}

    void samples(std::int64_t position, std::int64_t nanoseconds,
                 std::span<const std::int16_t> samples) override;
    void gap(std::int64_t from, std::int64_t to) override;
    void restart(std::int64_t position) override;

    // Any thread.

    /// The receiver is being started: what comes next has nothing to do with what came before, and
    /// the rate is measured afresh, and taken for the nearest one of that kind of receiver.
    void expectRun(const client::ReceiverKind& kind);
    Clock::time_point lastArrival() const; ///< of any samples; the epoch before the first
    std::uint64_t pairs() const { return pairs_.load(std::memory_order_relaxed); }
    std::uint64_t lostPairs() const { return lost_.load(std::memory_order_relaxed); }
    /// The rate of this run in IQ pairs a second, once it can be trusted; 0 before. It is put right
    /// when it was taken for another one.
    double measuredRate() const { return rate_.load(std::memory_order_relaxed); }

private:
    void beginIfExpected();

    Band& band_;
    std::atomic<bool> runExpected_{false};
    std::atomic<const client::ReceiverKind*> kind_{&client::receiverKind("")};
    client::RateFinder finder_{client::receiverKind("")}; ///< of the receive thread
    std::atomic<Clock::rep> lastArrival_{0};
    std::atomic<std::uint64_t> pairs_{0};
    std::atomic<std::uint64_t> lost_{0};
    std::atomic<double> rate_{0};
};

} // namespace feedline::hub
