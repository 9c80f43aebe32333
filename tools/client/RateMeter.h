// SPDX-License-Identifier: MIT
// The sample rate, measured from the datagrams' arrival times.
#pragma once

#include "tools/client/FittedLine.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace feedline::client {

/// A sender may deliver its samples in blocks, many datagrams back to back. A count between two
/// moments would be off by up to a block, so the rate is the slope of a straight line laid through
/// all arrivals. A backlog sent at the start would tilt that line; the whole run's rate is
/// therefore the median of windows of one second, the latest hour's of a longer run. Not
/// synchronised.
class RateMeter {
public:
    static constexpr std::size_t mostWindows = 3600;

    /// @param position     place in the stream, in datagrams, lost ones counted
    /// @param nanoseconds  time of arrival, any epoch
    void add(std::int64_t position, std::int64_t nanoseconds);

    /// IQ pairs a second over the last complete window, else over what there is; 0 when unknown.
    double current() const;
    /// IQ pairs a second over the whole run; 0 when unknown.
    double overall() const;
    /// Complete windows so far, mostWindows at most.
    std::size_t windows() const { return windows_.size(); }

private:
    void endWindow();

    std::int64_t windowStart_ = 0;
    std::int64_t windowPosition_ = 0;
    bool started_ = false;
    FittedLine line_;
    std::vector<double> windows_; ///< datagrams a second, one entry for each complete window
    std::size_t oldest_ = 0;      ///< entry that the next window replaces once all are there
    double latest_ = 0;           ///< datagrams a second of the last complete window
};

} // namespace feedline::client
