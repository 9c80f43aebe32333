// SPDX-License-Identifier: MIT
#include "tools/client/RateMeter.h"

#include "stream/DataDatagram.h"

#include <algorithm>

namespace feedline::client {

namespace {

constexpr std::int64_t windowLength = 1'000'000'000; // ns

} // namespace

void RateMeter::add(std::int64_t position, std::int64_t nanoseconds) {
    if (!started_ || nanoseconds - windowStart_ >= windowLength) {
        if (started_)
            endWindow();
        started_ = true;
        line_ = {};
        windowStart_ = nanoseconds;
        windowPosition_ = position;
    }
    line_.add(static_cast<double>(nanoseconds - windowStart_) * 1e-9,
              static_cast<double>(position - windowPosition_));
}

void RateMeter::endWindow() {
    latest_ = line_.slope();
    if (windows_.size() < mostWindows) {
        windows_.push_back(latest_);
        return;
    }
    windows_[oldest_] = latest_;
    oldest_ = (oldest_ + 1) % mostWindows;
}

double RateMeter::current() const {
    return datagram::pairs * (windows_.empty() ? line_.slope() : latest_);
}

double RateMeter::overall() const {
    if (windows_.empty())
        return current();
    auto sorted = windows_;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return datagram::pairs * *middle;
}

} // namespace feedline::client
