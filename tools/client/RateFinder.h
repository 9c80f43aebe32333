// SPDX-License-Identifier: MIT
// The sample rate of a stream that has just begun, as soon as it can be told.
#pragma once

#include "tools/client/FittedLine.h"
#include "tools/client/Receivers.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace feedline::client {

/// A server first sends what has piled up, as fast as the network takes it, and an AirSpy's samples
/// leave in bursts of 256 datagrams. So the rate is measured between the beginnings of bursts,
/// in windows of a quarter of a second, and taken once two windows in a row agree. Where datagrams
/// come evenly there are no bursts, and each of them counts. Not synchronised.
class RateFinder {
public:
    explicit RateFinder(const ReceiverKind& kind) : kind_(&kind) {}

    /// @param position     place in the stream, in datagrams, lost ones counted
    /// @param nanoseconds  time of arrival, any epoch
    /// Returns IQ pairs a second once known: the receiver's nearest rate if one is within 1 %,
    /// which takes half a second of steady flow, else what was measured, after two seconds of it.
    std::optional<double> add(std::int64_t position, std::int64_t nanoseconds);

private:
    struct Point {
        std::int64_t position;
        std::int64_t nanoseconds;
    };
    // A straight line through points, relative to the first one.
    class Line {
    public:
        void add(const Point& point);
        double slope() const { return line_.slope(); } ///< datagrams a second
        unsigned points() const { return line_.points(); }

    private:
        Point first_{};
        FittedLine line_;
    };

    std::optional<double> endWindow();

    const ReceiverKind* kind_;
    std::int64_t windowStart_ = 0;     ///< ns
    std::int64_t lastNanoseconds_ = 0; ///< of the arrival before
    Line begins_;                      ///< of this window's bursts
    Line all_;                         ///< of this window's datagrams
    std::vector<double> steady_;       ///< pairs a second of the latest windows, which agree
};

} // namespace feedline::client
