// SPDX-License-Identifier: MIT
// Puts the datagrams of a stream back into the order in which they were sent, as they come.
#pragma once

#include "tools/client/SequenceTracker.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace feedline::client {

/// Called from within StreamOrder's functions, in the stream's order.
class StreamSink {
public:
    virtual ~StreamSink() = default;

    /// Whole datagrams without a gap between them.
    /// @param position     place in the stream of the first, counted in datagrams
    /// @param nanoseconds  arrival of the first, since 1970 (UTC)
    /// @param samples      I, Q, I, Q, ... in host order, valid during the call
    virtual void samples(std::int64_t position, std::int64_t nanoseconds,
                         std::span<const std::int16_t> samples) = 0;

    /// The datagrams from place `from` to `to` - 1 have not come and will not be passed on.
    virtual void gap(std::int64_t from, std::int64_t to) = 0;

    /// The sender has begun to count anew: how much is missing before this place, nobody knows.
    virtual void restart(std::int64_t position) = 0;
};

/// What comes in order is passed on without a copy, runs of datagrams in one call. Behind a missing
/// datagram later ones are held back until it comes or `mostHeldBack` of them wait; then it is a
/// gap. Not synchronised.
class StreamOrder {
public:
    static constexpr std::size_t mostHeldBack = 64; ///< datagrams

    explicit StreamOrder(StreamSink& sink) : sink_(sink) {}

    /// One more datagram.
    void add(const Verdict& verdict, std::int64_t nanoseconds,
             std::span<const std::int16_t> samples);
    /// Passes on what is due; to be called after each block, before its memory is used again.
    void flush();
    /// Passes on what is held back, too. The next datagram may have any place.
    void finish();

private:
    struct Held {
        std::int64_t position;
        std::int64_t nanoseconds;
        std::vector<std::int16_t> samples;
    };

    void hold(const Verdict& verdict, std::int64_t nanoseconds,
              std::span<const std::int16_t> samples);
    void release(std::size_t mayWait);
    void begin(std::int64_t position);

    StreamSink& sink_;
    bool started_ = false;
    std::int64_t next_ = 0; ///< place due, after the run below
    // The run that the next flush passes on.
    std::int64_t runPosition_ = 0;
    std::int64_t runNanoseconds_ = 0;
    std::span<const std::int16_t> run_;
    std::vector<Held> held_; ///< by place, all of them behind next_; entries beyond used_ are spare
    std::size_t used_ = 0;
};

} // namespace feedline::client
