// SPDX-License-Identifier: MIT
// The receiver's sample clock: which sample is due when. Values; no thread of its own.
#pragma once

#include <chrono>
#include <cstdint>

namespace feedline::emulator {

/// Positions count from the clock's start. Every instant follows from that one start, so that
/// nothing drifts, however late anybody looks, unless it is told to wait.
class SampleClock {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// `samplesPerSecond` 0: every sample is due at once.
    SampleClock(Instant origin, double samplesPerSecond)
        : start_(origin), rate_(samplesPerSecond) {}

    Instant due(std::uint64_t position) const {
        if (rate_ == 0)
            return start_;
        return start_ + std::chrono::nanoseconds(
                            static_cast<std::int64_t>(static_cast<double>(position) * 1e9 / rate_));
    }

    /// The first sample that is not yet taken at that instant; 0 without a rate.
    std::uint64_t positionAt(Instant now) const {
        const double seconds = std::chrono::duration<double>(now - start_).count();
        return seconds > 0 ? static_cast<std::uint64_t>(seconds * rate_) : 0;
    }

    /// Moves everything to come: the clock has stood still for so long.
    void postpone(std::chrono::nanoseconds by) { start_ += by; }

    /// When position 0 began.
    Instant begin() const { return start_; }

private:
    Instant start_;
    double rate_;
};

} // namespace feedline::emulator
