// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/RateLimit.h"

#include <algorithm>

namespace feedline::hub::web {

RateLimit::RateLimit(double perSecond, double burst, Clock::time_point now)
    : perSecond_(perSecond), burst_(burst), left_(burst), last_(now) {}

bool RateLimit::take(Clock::time_point now) {
    left_ =
        std::min(burst_, left_ + perSecond_ * std::chrono::duration<double>(now - last_).count());
    last_ = now;
    if (left_ < 1)
        return false;
    left_ -= 1;
    return true;
}

} // namespace feedline::hub::web
