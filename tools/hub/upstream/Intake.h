// Puts what was received into the band, on the band's thread.
#pragma once

#include "tools/client/BatchQueue.h"
#include "tools/client/RateMeter.h"
#include "tools/hub/band/Band.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace feedline::hub {

/// Takes batches from the receive thread's queue until that is closed.
class Intake {
public:
    explicit Intake(Band& band);
    /// The queue must have been closed.
    ~Intake();

    /// Where the receive thread is to put what it gets.
    client::BatchQueue& queue() { return queue_; }
    /// Begins; once.
    void start();

    // Any thread.

    /// The receiver is being started: what comes next has nothing to do with what came before, and
    /// the rate is measured afresh.
    void expectRun();
    Clock::time_point lastArrival() const; ///< of any datagram; the epoch before the first
    std::uint64_t pairs() const { return pairs_.load(std::memory_order_relaxed); }
    std::uint64_t lostPairs() const { return lost_.load(std::memory_order_relaxed); }
    /// The rate of this run in IQ pairs a second, once it can be trusted; 0 before.
    double measuredRate() const { return rate_.load(std::memory_order_relaxed); }

private:
    void run();
    void take(const client::ReceivedDatagram& datagram, Clock::time_point arrival);
    void measure(const client::ReceivedDatagram& datagram);
    void lose(std::uint64_t datagrams);

    Band& band_;
    client::BatchQueue queue_;
    client::RateMeter meter_;   ///< of the band's thread, like the next two
    std::int64_t runBegan_ = 0; ///< ns, 0 before the run's first datagram
    std::int64_t next_ = -1;    ///< the stream's place that is due, -1 before the first
    std::atomic<bool> runExpected_{false};
    std::atomic<Clock::rep> lastArrival_{0};
    std::atomic<std::uint64_t> pairs_{0};
    std::atomic<std::uint64_t> lost_{0};
    std::atomic<double> rate_{0};
    std::thread thread_;
};

} // namespace feedline::hub
