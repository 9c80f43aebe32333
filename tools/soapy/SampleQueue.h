// SPDX-License-Identifier: MIT
// The way of the samples from the receive thread to the program's reading thread.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

namespace feedline::soapy {

/// A ring of IQ pairs that are read where they lie, with the time of each and the places where some
/// are missing. One thread writes, one reads; the others named below may be called from any.
///
/// - Places count pairs since open(): freed <= read <= published <= written <= freed + capacity.
/// - What a reader has acquired stays as it is until it is released, whatever else happens; open()
///   and close() forget it.
/// - The lock is held for the book-keeping only, never while samples are copied by a reader.
class SampleQueue {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t capacity = std::size_t{1} << 22U; ///< pairs, 16 MiB
    static constexpr std::size_t longestPiece = 32768;             ///< pairs
    static constexpr std::size_t handles = 16; ///< pieces that may be acquired at once

    enum class Outcome {
        samples,
        lost,    ///< samples are missing before the next ones, whose time is told; said once
        timeOut, ///< nothing came in time, or the queue is closed
        gaveUp,  ///< nothing has come for longer than the limit
    };
    struct Piece {
        Outcome outcome = Outcome::timeOut;
        std::span<const std::int16_t> samples{}; ///< I, Q, I, Q, ...
        std::int64_t nanoseconds = 0;            ///< time of the first pair
        std::size_t handle = 0;
    };

    SampleQueue();

    /// Empty, and ready for samples. Any thread, but not beside write().
    void open();
    /// Wakes the reader. Any thread.
    void close();
    /// How long nothing may come before the reader gets Outcome::gaveUp; 0: for ever. Any thread.
    void setGiveUp(Clock::duration limit);

    /// Puts samples in; what there is no room for is left out.
    /// @param nanoseconds  time of the first pair
    /// @param period       ns from one pair to the next
    /// @param broken       samples are missing before these
    /// Returns the pairs left out.
    std::size_t write(std::span<const std::int16_t> samples, std::int64_t nanoseconds,
                      double period, bool broken);
    /// The writer: what is written from now on is withheld from the reader until the moment, so
    /// that discardHeld() can take it back.
    void holdUntil(Clock::time_point moment);
    void discardHeld();

    /// The reader: waits until `wanted` pairs (longestPiece at most) are there, or fewer before a
    /// loss, or the time is over; then takes what there is, at most `wanted`.
    Piece acquire(std::size_t wanted, Clock::time_point end);
    /// In any order.
    void release(std::size_t handle);

    /// Pairs left out so far for want of room. Any thread.
    std::uint64_t dropped() const;

private:
    /// From this place on, times are counted from here.
    struct Mark {
        std::uint64_t place;
        std::int64_t nanoseconds;
        double period;
        bool broken; ///< and not yet told
    };
    struct Acquired {
        std::uint64_t end; ///< place
        bool inUse = false;
        bool released = false;
    };

    void append(std::span<const std::int16_t> samples);
    void publish();
    bool isDue(std::size_t wanted) const;
    std::uint64_t readable() const;
    std::uint64_t nextBreak() const;
    bool awaitSamples(std::unique_lock<std::mutex>& lock, std::size_t wanted,
                      Clock::time_point end);
    Clock::time_point nextEvent(Clock::time_point end, bool hadGivenUp) const;
    Piece take(std::size_t most);
    std::int64_t timeOf(std::uint64_t place) const;
    bool hasGivenUp(Clock::time_point now) const;

    std::unique_ptr<std::int16_t[]> ring_; ///< its first longestPiece stand behind its end again
    mutable std::mutex mutex_;             ///< guards everything below
    std::condition_variable changed_;
    bool open_ = false;
    std::uint64_t written_ = 0;
    std::uint64_t published_ = 0;
    std::uint64_t read_ = 0;
    std::uint64_t freed_ = 0;
    std::deque<Mark> marks_; ///< by place; the first one is at or before read_
    bool breakDue_ = false;  ///< the next samples written have some missing before them
    std::optional<Clock::time_point> heldUntil_;
    std::size_t wanted_ = 0; ///< pairs that the reader waits for; 0 when it does not wait
    std::array<Acquired, handles> acquired_;
    std::deque<std::size_t> order_; ///< of the handles in use
    std::uint64_t dropped_ = 0;
    Clock::duration giveUp_{0};
    Clock::time_point lastWrite_;
};

} // namespace feedline::soapy
