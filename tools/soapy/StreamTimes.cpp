// SPDX-License-Identifier: MIT
#include "tools/soapy/StreamTimes.h"

#include "stream/DataDatagram.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace feedline::soapy {

namespace {

constexpr std::int64_t second = 1'000'000'000; // ns
constexpr double wrap = 65536;                 // datagrams

} // namespace

void StreamTimes::setRate(double pairsPerSecond) {
    period_ = 1e9 / pairsPerSecond;
    anchor_ = nanoseconds_;
    anchorPosition_ = position_;
}

StreamTimes::Stamp StreamTimes::stamp(std::int64_t position, std::int64_t count,
                                      std::int64_t arrival) {
    const double perDatagram = period_ * datagram::pairs;
    const auto counted = [&](std::int64_t place) -> std::int64_t {
        return anchor_ + std::llround(static_cast<double>(place - anchorPosition_) * perDatagram);
    };
    Stamp stamp{arrival, false};
    if (started_) {
        const auto tolerance =
            std::min(2 * second, static_cast<std::int64_t>(wrap / 4 * perDatagram));
        const std::int64_t byNumbers = counted(position);
        const std::int64_t byClock = nanoseconds_ + (arrival - arrival_);
        const bool agree = std::abs(byNumbers - byClock) <= tolerance && !restarted_;
        // Time never runs backwards, however late or early the datagrams come.
        stamp.nanoseconds = agree ? byNumbers : std::max(byClock, counted(next_));
        stamp.broken = !agree || position != next_;
    }
    if (!started_ || stamp.broken) {
        anchor_ = stamp.nanoseconds;
        anchorPosition_ = position;
    }
    started_ = true;
    restarted_ = false;
    nanoseconds_ = stamp.nanoseconds;
    arrival_ = arrival;
    position_ = position;
    next_ = position + count;
    return stamp;
}

} // namespace feedline::soapy
