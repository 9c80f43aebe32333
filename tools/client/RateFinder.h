// SPDX-License-Identifier: MIT
// The sample rate of a stream, as soon as it can be told.
#pragma once

#include "tools/client/FittedLine.h"
#include "tools/client/Receivers.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace feedline::client {

/// A server first sends what has piled up, as fast as the network takes it, and an AirSpy's samples
/// leave in bursts of 256 datagrams. So the rate is measured between the beginnings of bursts,
/// in windows of a quarter of a second, and taken once two windows in a row agree. Where datagrams
/// come evenly there are no bursts, and each of them counts. A machine that was busy and catches up
/// can look steady at a pace that is another of the receiver's rates, so the search never ends: the
/// next two windows that agree on something else put it right. Not synchronised.
class RateFinder {
public:
    explicit RateFinder(const ReceiverKind& kind) : kind_(&kind) {}

    /// @param position     place in the stream, in datagrams, lost ones counted
    /// @param nanoseconds  time of arrival, any epoch
    /// Returns IQ pairs a second when it is known and was not before, or is another one by more
    /// than 1 %: the receiver's nearest rate when two windows are within 1 % of it, which takes
    /// half a second of steady flow, else the mean of two seconds of it, and the nearest rate to
    /// that.
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

    void endWindow();
    std::optional<double> steadyRate() const;

    const ReceiverKind* kind_;
    double known_ = 0;                 ///< pairs a second; 0 before
    std::int64_t windowStart_ = 0;     ///< ns
    std::int64_t lastNanoseconds_ = 0; ///< of the arrival before; 0 before the first
    Line begins_;                      ///< of this window's bursts
    Line all_;                         ///< of this window's datagrams
    std::deque<double> steady_;        ///< pairs a second of the latest windows, which agree
};

} // namespace feedline::client
