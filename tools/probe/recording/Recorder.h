// SPDX-License-Identifier: MIT
// Writes the stream into a recording, on a thread of its own.
#pragma once

#include "tools/client/BatchQueue.h"
#include "tools/client/RateMeter.h"
#include "tools/client/StreamAssembler.h"
#include "tools/probe/recording/Recording.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace feedline::probe {

/// Missing datagrams are written as zeros, so that time stays true, and remarked on. A file's
/// header tells the sample rate, and some formats want it first: until the rate is known, datagrams
/// are kept in memory.
class Recorder {
public:
    /// Creates the file; throws Failure.
    /// @param rate      Hz, when it is given and need not be measured
    /// @param onFailure called once, on the recorder's thread, when writing has failed
    Recorder(const std::string& name, bool force, std::optional<double> rate,
             std::function<void()> onFailure,
             std::size_t queueLimit = client::BatchQueue::usualLimit);
    /// A recording that was never started leaves no file.
    ~Recorder();

    /// Where the receive thread puts the datagrams.
    client::BatchQueue& queue() { return queue_; }
    void start(const std::string& target, std::optional<std::uint32_t> frequency);
    /// Waits until the queue has been closed and worked off, and completes the file.
    RecordingOutcome finish();

private:
    void run();
    void take(client::BatchPointer batch);
    bool rateKnown() const;
    double rate() const;
    void begin();
    void writeWaiting();
    void guarded(const std::function<void()>& action);
    void writeDatagram(const client::ReceivedDatagram& datagram);
    void writeGap(std::int64_t from, std::int64_t to);

    client::BatchQueue queue_;
    std::unique_ptr<Recording> recording_;
    std::optional<double> rate_;
    std::function<void()> onFailure_;
    std::thread thread_;
    RecordingFacts facts_; ///< of the recorder's thread, once started, like everything below
    client::RateMeter meter_;
    std::deque<client::BatchPointer> waiting_; ///< for the rate to become known
    client::StreamAssembler assembler_;
    bool begun_ = false;
    RecordingOutcome outcome_;
};

} // namespace feedline::probe
