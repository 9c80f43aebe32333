// SPDX-License-Identifier: MIT
#include "tools/client/RateFinder.h"

#include "stream/DataDatagram.h"

#include <cmath>
#include <numeric>

namespace feedline::client {

namespace {

constexpr std::int64_t windowLength = 250'000'000; // ns
constexpr std::int64_t pause = 1'000'000;          // ns between bursts, at least
constexpr unsigned enoughBursts = 5;               // in a window
constexpr double agreement = 0.03;
constexpr std::size_t enoughWindows = 8;

} // namespace

void RateFinder::Line::add(const Point& point) {
    if (points() == 0)
        first_ = point;
    const double x = static_cast<double>(point.nanoseconds - first_.nanoseconds) * 1e-9;
    const auto y = static_cast<double>(point.position - first_.position);
    line_.add(x, y);
}

std::optional<double> RateFinder::add(std::int64_t position, std::int64_t nanoseconds) {
    const Point point{position, nanoseconds};
    const bool first = all_.points() == 0;
    const bool begins = first || nanoseconds - lastNanoseconds_ >= pause;
    lastNanoseconds_ = nanoseconds;
    if (first)
        windowStart_ = nanoseconds;
    all_.add(point);
    if (begins)
        begins_.add(point);
    if (nanoseconds - windowStart_ < windowLength)
        return std::nullopt;
    const auto rate = endWindow();
    begins_ = {};
    all_ = {};
    return rate;
}

std::optional<double> RateFinder::endWindow() {
    const Line& line = begins_.points() >= enoughBursts ? begins_ : all_;
    const double rate = datagram::pairs * line.slope();
    if (!steady_.empty() && std::abs(rate - steady_.back()) > agreement * rate)
        steady_.clear();
    // What is faster than the receiver can be has piled up.
    if (rate <= 0 || rate > 1.01 * kind_->rates.front()) {
        steady_.clear();
        return std::nullopt;
    }
    steady_.push_back(rate);
    if (steady_.size() < 2)
        return std::nullopt;
    const double measured =
        std::accumulate(steady_.begin(), steady_.end(), 0.0) / static_cast<double>(steady_.size());
    const double nearest = nearestRate(*kind_, measured);
    const bool known = nearest != std::round(measured);
    return known || steady_.size() >= enoughWindows ? std::optional(nearest) : std::nullopt;
}

} // namespace feedline::client
