// SPDX-License-Identifier: MIT
#include "tools/soapy/SampleQueue.h"

#include <algorithm>
#include <cmath>

namespace feedline::soapy {

namespace {

constexpr std::size_t entriesOf(std::size_t pairs) {
    return 2 * pairs;
}

} // namespace

SampleQueue::SampleQueue()
    : ring_(std::make_unique_for_overwrite<std::int16_t[]>(entriesOf(capacity + longestPiece))) {}

void SampleQueue::open() {
    {
        const std::lock_guard lock(mutex_);
        written_ = published_ = read_ = freed_ = 0;
        marks_.clear();
        breakDue_ = false;
        heldUntil_.reset();
        acquired_ = {};
        order_.clear();
        lastWrite_ = Clock::now();
        open_ = true;
    }
    changed_.notify_all();
}

void SampleQueue::close() {
    {
        const std::lock_guard lock(mutex_);
        open_ = false;
    }
    changed_.notify_all();
}

void SampleQueue::setGiveUp(Clock::duration limit) {
    const std::lock_guard lock(mutex_);
    giveUp_ = limit;
}

std::size_t SampleQueue::write(std::span<const std::int16_t> samples, std::int64_t nanoseconds,
                               double period, bool broken) {
    std::unique_lock lock(mutex_);
    if (!open_)
        return 0;
    lastWrite_ = Clock::now();
    const std::size_t pairs = samples.size() / 2;
    const std::size_t room = capacity - static_cast<std::size_t>(written_ - freed_);
    const std::size_t taken = std::min(pairs, room);
    breakDue_ = breakDue_ || broken;
    if (taken != 0) {
        if (marks_.empty() || breakDue_ || marks_.back().period != period)
            marks_.push_back({written_, nanoseconds, period, breakDue_});
        breakDue_ = false;
        append(samples.first(entriesOf(taken)));
    }
    breakDue_ = breakDue_ || taken != pairs;
    dropped_ += pairs - taken;
    publish();
    // A reader learns of a hold by being woken once.
    const bool wake = wanted_ != 0 && (heldUntil_ || isDue(wanted_));
    lock.unlock();
    if (wake)
        changed_.notify_all();
    return pairs - taken;
}

// What stands at the beginning stands behind the end as well, so that every piece is in one piece.
void SampleQueue::append(std::span<const std::int16_t> samples) {
    const std::size_t at = entriesOf(static_cast<std::size_t>(written_ % capacity));
    const std::size_t first = std::min(samples.size(), entriesOf(capacity) - at);
    std::ranges::copy(samples.first(first), &ring_[at]);
    std::ranges::copy(samples.subspan(first), ring_.get());
    const auto mirror = [this](std::span<const std::int16_t> beginning, std::size_t place) {
        constexpr std::size_t mirrored = entriesOf(longestPiece);
        if (place < mirrored)
            std::ranges::copy(beginning.first(std::min(beginning.size(), mirrored - place)),
                              &ring_[entriesOf(capacity) + place]);
    };
    mirror(samples.first(first), at);
    mirror(samples.subspan(first), 0);
    written_ += samples.size() / 2;
}

void SampleQueue::holdUntil(Clock::time_point moment) {
    const std::lock_guard lock(mutex_);
    heldUntil_ = moment;
}

void SampleQueue::discardHeld() {
    const std::lock_guard lock(mutex_);
    written_ = published_;
    while (!marks_.empty() && marks_.back().place >= published_) {
        breakDue_ = breakDue_ || marks_.back().broken;
        marks_.pop_back();
    }
}

SampleQueue::Piece SampleQueue::acquire(std::size_t wanted, Clock::time_point end) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_until(lock, end, [this] { return order_.size() < handles; }))
        return {};
    if (!awaitSamples(lock, wanted, end))
        return {.outcome = hasGivenUp(Clock::now()) ? Outcome::gaveUp : Outcome::timeOut};
    return take(wanted);
}

void SampleQueue::release(std::size_t handle) {
    {
        const std::lock_guard lock(mutex_);
        if (handle >= handles || !acquired_[handle].inUse)
            return;
        acquired_[handle].released = true;
        while (!order_.empty() && acquired_[order_.front()].released) {
            Acquired& oldest = acquired_[order_.front()];
            freed_ = oldest.end;
            oldest = {};
            order_.pop_front();
        }
    }
    changed_.notify_all();
}

std::uint64_t SampleQueue::dropped() const {
    const std::lock_guard lock(mutex_);
    return dropped_;
}

void SampleQueue::publish() {
    if (heldUntil_ && Clock::now() < *heldUntil_)
        return;
    heldUntil_.reset();
    published_ = written_;
}

// The place of the first loss that the reader has not been told of; far away when there is none.
std::uint64_t SampleQueue::nextBreak() const {
    for (const Mark& mark : marks_)
        if (mark.broken && mark.place >= read_)
            return mark.place;
    return UINT64_MAX;
}

std::uint64_t SampleQueue::readable() const {
    return std::min(published_, nextBreak()) - read_;
}

// Whether a reader that wants so many need not wait: they are there, or a loss comes before.
bool SampleQueue::isDue(std::size_t wanted) const {
    return open_ && (readable() >= wanted || nextBreak() < published_);
}

bool SampleQueue::hasGivenUp(Clock::time_point now) const {
    return open_ && giveUp_ > Clock::duration(0) && now - lastWrite_ >= giveUp_;
}

// False when there is nothing to take.
bool SampleQueue::awaitSamples(std::unique_lock<std::mutex>& lock, std::size_t wanted,
                               Clock::time_point end) {
    // An error that came back at once would make some programs spin.
    constexpr auto breath = std::chrono::milliseconds(100);
    const bool hadGivenUp = hasGivenUp(Clock::now());
    if (hadGivenUp)
        end = std::min(end, Clock::now() + breath);
    bool wasOpen = open_;
    for (;;) {
        publish();
        const auto now = Clock::now();
        if (isDue(wanted) || now >= end || (wasOpen && !open_) || (!hadGivenUp && hasGivenUp(now)))
            break;
        wasOpen = open_;
        wanted_ = wanted;
        changed_.wait_until(lock, nextEvent(end, hadGivenUp));
        wanted_ = 0;
    }
    return open_ && published_ > read_;
}

SampleQueue::Clock::time_point SampleQueue::nextEvent(Clock::time_point end,
                                                      bool hadGivenUp) const {
    if (heldUntil_)
        end = std::min(end, *heldUntil_);
    if (open_ && giveUp_ > Clock::duration(0) && !hadGivenUp)
        end = std::min(end, lastWrite_ + giveUp_);
    return end;
}

SampleQueue::Piece SampleQueue::take(std::size_t most) {
    while (marks_.size() > 1 && marks_[1].place <= read_)
        marks_.pop_front();
    Mark& mark = marks_.front();
    if (mark.broken && mark.place == read_) {
        mark.broken = false;
        return {.outcome = Outcome::lost, .nanoseconds = mark.nanoseconds};
    }
    const auto at = static_cast<std::size_t>(read_ % capacity);
    const std::size_t pairs = std::min({static_cast<std::size_t>(readable()), most, longestPiece});
    Piece piece{Outcome::samples, {&ring_[entriesOf(at)], entriesOf(pairs)}, timeOf(read_), 0};
    while (acquired_[piece.handle].inUse)
        ++piece.handle;
    read_ += pairs;
    acquired_[piece.handle] = {read_, true, false};
    order_.push_back(piece.handle);
    return piece;
}

std::int64_t SampleQueue::timeOf(std::uint64_t place) const {
    const Mark& mark = marks_.front();
    return mark.nanoseconds + std::llround(static_cast<double>(place - mark.place) * mark.period);
}

} // namespace feedline::soapy
