// SPDX-License-Identifier: MIT
#include "tools/client/RateFinder.h"

#include "stream/DataDatagram.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <numeric>

namespace feedline::client {

namespace {

constexpr std::int64_t windowLength = 250'000'000; // ns
constexpr std::int64_t pause = 1'000'000;          // ns between bursts, at least
constexpr unsigned enoughBursts = 5;               // in a window
constexpr double agreement = 0.03;
constexpr double sameRate = 0.01;
constexpr std::size_t mostWindows = 8;

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
    const bool begins = lastNanoseconds_ != 0 && nanoseconds - lastNanoseconds_ >= pause;
    lastNanoseconds_ = nanoseconds;
    if (first)
        windowStart_ = nanoseconds;
    all_.add(point);
    if (begins)
        begins_.add(point);
    if (nanoseconds - windowStart_ < windowLength)
        return std::nullopt;
    endWindow();
    begins_ = {};
    all_ = {};
    const auto rate = steadyRate();
    if (!rate || std::abs(*rate - known_) <= sameRate * known_)
        return std::nullopt;
    known_ = *rate;
    return rate;
}

void RateFinder::endWindow() {
    const Line& line = begins_.points() >= enoughBursts ? begins_ : all_;
    const double rate = datagram::pairs * line.slope();
    const auto differs = [rate](double earlier) {
        return std::abs(rate - earlier) > agreement * rate;
    };
    if (std::ranges::any_of(steady_, differs))
        steady_.clear();
    // What is faster than the receiver can be has piled up.
    if (rate <= 0 || rate > (1 + sameRate) * kind_->rates.front()) {
        steady_.clear();
        return;
    }
    steady_.push_back(rate);
    if (steady_.size() > mostWindows)
        steady_.pop_front();
}

// A pace that changes crosses one of the receiver's rates, so that two windows have to be near it.
std::optional<double> RateFinder::steadyRate() const {
    if (steady_.size() < 2)
        return std::nullopt;
    const std::array latest{*std::prev(steady_.end(), 2), steady_.back()};
    const double nearest = nearestRate(*kind_, std::midpoint(latest.front(), latest.back()));
    const bool received = std::ranges::find(kind_->rates, nearest) != kind_->rates.end();
    if (received && std::ranges::all_of(latest, [nearest](double rate) {
            return std::abs(rate - nearest) <= sameRate * nearest;
        }))
        return nearest;
    if (steady_.size() < mostWindows)
        return std::nullopt;
    return nearestRate(*kind_, std::accumulate(steady_.begin(), steady_.end(), 0.0) / mostWindows);
}

} // namespace feedline::client
