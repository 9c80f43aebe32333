// SPDX-License-Identifier: MIT
// The time of each sample.
#pragma once

#include <cstdint>

namespace feedline::soapy {

/// The first datagram has its arrival's time. From there on the samples count, lost ones included
/// by the datagrams' numbers. Where numbers cannot tell how much is missing (the sender began to
/// count anew; more was lost than the numbers' wrap; the receiver stood still), the clock does:
/// that is what is believed whenever the two differ by more than a quarter of the wrap, or by two
/// seconds. Not synchronised; copies are cheap.
class StreamTimes {
public:
    struct Stamp {
        std::int64_t nanoseconds; ///< since 1970 (UTC), of the first pair
        bool broken;              ///< samples are missing before it
    };

    explicit StreamTimes(double pairsPerSecond) { setRate(pairsPerSecond); }

    /// Holds from the next datagrams on.
    void setRate(double pairsPerSecond);
    /// ns from one pair to the next.
    double period() const { return period_; }

    /// A run of datagrams without a gap between them.
    /// @param position  place in the stream, in datagrams
    /// @param arrival   of the first one, ns since 1970 (UTC)
    Stamp stamp(std::int64_t position, std::int64_t count, std::int64_t arrival);
    /// The sender has begun to count anew with the next datagram.
    void restart() { restarted_ = started_; }

private:
    double period_ = 0; ///< ns from one pair to the next
    bool started_ = false;
    bool restarted_ = false;
    // Of the run before: its first datagram's time and arrival, and the place due next.
    std::int64_t nanoseconds_ = 0;
    std::int64_t arrival_ = 0;
    std::int64_t position_ = 0;
    std::int64_t next_ = 0;
    // Times are counted from here, so that roundings do not add up.
    std::int64_t anchor_ = 0;         ///< ns
    std::int64_t anchorPosition_ = 0; ///< datagrams
};

} // namespace feedline::soapy
