// SPDX-License-Identifier: MIT
// What a callback of a vendor's library has heard, for the tests beside this file.
#pragma once

#include "Spectrum.h"

#include <libairspy/airspy.h>
#include <libairspyhf/airspyhf.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace feedline::test {

/// Callbacks give, one test thread takes.
class Listener {
public:
    /// Samples that the library dropped before these make all the earlier ones worthless.
    void give(const float* pairs, std::size_t count, std::uint64_t dropped) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++blocks_;
        if (dropped > 0)
            samples_.clear();
        for (std::size_t i = 0; i < count && samples_.size() < wanted_; ++i)
            samples_.emplace_back(pairs[2 * i], pairs[2 * i + 1]);
        more_.notify_all();
    }

    /// The next `count` samples; fewer only if they do not come in a long time.
    Samples take(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        samples_.clear();
        wanted_ = count;
        more_.wait_for(lock, waitLimit, [&] { return samples_.size() >= wanted_; });
        wanted_ = 0;
        return std::move(samples_);
    }

    /// Waits for so many more callbacks.
    bool hears(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        const std::size_t enough = blocks_ + count;
        return more_.wait_for(lock, waitLimit, [&] { return blocks_ >= enough; });
    }

private:
    static constexpr std::chrono::seconds waitLimit{60};

    std::mutex mutex_;
    std::condition_variable more_;
    Samples samples_;
    std::size_t wanted_ = 0;
    std::size_t blocks_ = 0;
};

/// Callbacks for the vendors' libraries, whose context is a Listener.
inline int heard(airspyhf_transfer_t* transfer) {
    static_cast<Listener*>(transfer->ctx)
        ->give(&transfer->samples->re, static_cast<std::size_t>(transfer->sample_count),
               transfer->dropped_samples);
    return 0;
}
/// Of an AirSpy that was told to give AIRSPY_SAMPLE_FLOAT32_IQ.
inline int heard(airspy_transfer* transfer) {
    static_cast<Listener*>(transfer->ctx)
        ->give(static_cast<const float*>(transfer->samples),
               static_cast<std::size_t>(transfer->sample_count), transfer->dropped_samples);
    return 0;
}

} // namespace feedline::test
