// Levels and spectra of the stream, worked out on a thread of their own.
#pragma once

#include "probe/BatchQueue.h"
#include "probe/LevelMeter.h"
#include "probe/SpectrumEstimator.h"
#include "probe/WaterfallHistory.h"

#include <mutex>
#include <thread>

namespace feedline::probe {

/// Late and duplicate datagrams are left out: neither level nor spectrum gains from them.
class Analyser {
public:
    struct Result {
        Levels levels;
        PowerSum power;
    };

    /// @param keepHistory  whether history() is wanted
    explicit Analyser(bool keepHistory = false) : m_keepHistory(keepHistory) {}
    ~Analyser();

    /// Where the receive thread puts the datagrams.
    BatchQueue& queue() { return m_queue; }

    void start();
    /// Waits until the queue has been closed and worked off.
    void finish();

    /// Any thread. What has come in since the last call of the same function.
    Result takeSecond();
    PowerSum takeView();
    /// Any thread. What has come in since the start.
    Result total();
    /// After finish().
    const WaterfallHistory& history() const { return m_history; }

private:
    struct Sums {
        LevelMeter meter;
        PowerSum power;
        Result result() const { return {meter.levels(), power}; }
    };

    void run();
    void analyse(const Batch& batch);
    void distribute();

    BatchQueue m_queue;
    std::thread m_thread;
    std::mutex m_mutex; ///< guards everything below
    SpectrumEstimator m_estimator;
    LevelMeter m_meter;
    Sums m_second;
    Sums m_total;
    PowerSum m_view;
    bool m_keepHistory;
    WaterfallHistory m_history;
    std::int64_t m_pair = 0; ///< place in the stream of what has not been distributed yet
};

} // namespace feedline::probe
