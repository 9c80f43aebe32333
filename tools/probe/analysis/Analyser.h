// SPDX-License-Identifier: MIT
// Levels and spectra of the stream, worked out on a thread of their own.
#pragma once

#include "tools/client/BatchQueue.h"
#include "tools/probe/analysis/LevelMeter.h"
#include "tools/probe/analysis/SpectrumEstimator.h"
#include "tools/probe/analysis/WaterfallHistory.h"

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
    explicit Analyser(bool keepHistory = false) : keepHistory_(keepHistory) {}
    ~Analyser();

    /// Where the receive thread puts the datagrams.
    client::BatchQueue& queue() { return queue_; }

    void start();
    /// Waits until the queue has been closed and worked off.
    void finish();

    /// Any thread. What has come in since the last call of the same function.
    Result takeSecond();
    PowerSum takeView();
    /// Any thread. What has come in since the start.
    Result total();
    /// After finish().
    const WaterfallHistory& history() const { return history_; }

private:
    struct Sums {
        LevelMeter meter;
        PowerSum power;
        Result result() const { return {meter.levels(), power}; }
    };

    void run();
    void analyse(const client::Batch& batch);
    void distribute();

    client::BatchQueue queue_;
    std::thread thread_;
    std::mutex mutex_; ///< guards everything below
    SpectrumEstimator estimator_;
    LevelMeter meter_;
    Sums second_;
    Sums total_;
    PowerSum view_;
    bool keepHistory_;
    WaterfallHistory history_;
    std::int64_t pair_ = 0; ///< place in the stream of what has not been distributed yet
};

} // namespace feedline::probe
