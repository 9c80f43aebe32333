// SPDX-License-Identifier: MIT
// How often something may happen.
#pragma once

#include <chrono>

namespace feedline::hub::web {

/// A bucket of allowances that fills up with time. Not synchronised.
class RateLimit {
public:
    using Clock = std::chrono::steady_clock;

    /// @param perSecond  in the long run; @param burst  at once, after a pause
    RateLimit(double perSecond, double burst, Clock::time_point now = Clock::now());

    /// Whether it may happen at `now`, which never goes back; if so, it has.
    bool take(Clock::time_point now = Clock::now());

private:
    double perSecond_;
    double burst_;
    double left_;
    Clock::time_point last_;
};

} // namespace feedline::hub::web
