// Writes the stream into a recording, on a thread of its own.
#pragma once

#include "probe/BatchQueue.h"
#include "probe/RateMeter.h"
#include "probe/Recording.h"
#include "probe/StreamAssembler.h"

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
             std::function<void()> onFailure, std::size_t queueLimit = BatchQueue::usualLimit);
    /// A recording that was never started leaves no file.
    ~Recorder();

    /// Where the receive thread puts the datagrams.
    BatchQueue& queue() { return m_queue; }
    void start(const std::string& target, std::optional<std::uint32_t> frequency);
    /// Waits until the queue has been closed and worked off, and completes the file.
    RecordingOutcome finish();

private:
    void run();
    void take(BatchPointer batch);
    bool rateKnown() const;
    double rate() const;
    void begin();
    void writeWaiting();
    void guarded(const std::function<void()>& action);
    void writeDatagram(const ReceivedDatagram& datagram);
    void writeGap(std::int64_t from, std::int64_t to);

    BatchQueue m_queue;
    std::unique_ptr<Recording> m_recording;
    std::optional<double> m_rate;
    std::function<void()> m_onFailure;
    std::thread m_thread;
    RecordingFacts m_facts; ///< of the recorder's thread, once started, like everything below
    RateMeter m_meter;
    std::deque<BatchPointer> m_waiting; ///< for the rate to become known
    StreamAssembler m_assembler;
    bool m_begun = false;
    RecordingOutcome m_outcome;
};

} // namespace feedline::probe
