// SPDX-License-Identifier: MIT
// How many datagrams were lost of late.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>

namespace feedline::soapy {

/// Any thread may call all functions.
class LossMeter {
public:
    using Clock = std::chrono::steady_clock;

    void add(std::uint64_t lost, Clock::time_point now = Clock::now()) {
        const std::lock_guard lock(mutex_);
        forget(now);
        losses_.push_back({now, lost});
    }
    /// In the second before.
    std::uint64_t lastSecond(Clock::time_point now = Clock::now()) {
        const std::lock_guard lock(mutex_);
        forget(now);
        std::uint64_t sum = 0;
        for (const Loss& loss : losses_)
            sum += loss.count;
        return sum;
    }

private:
    struct Loss {
        Clock::time_point when;
        std::uint64_t count;
    };
    void forget(Clock::time_point now) {
        while (!losses_.empty() && now - losses_.front().when >= std::chrono::seconds(1))
            losses_.pop_front();
    }

    std::mutex mutex_;
    std::deque<Loss> losses_;
};

} // namespace feedline::soapy
