// SPDX-License-Identifier: MIT
#include "tools/client/SequenceTracker.h"

namespace feedline::client {

Verdict SequenceTracker::add(std::uint16_t number) {
    if (!started_)
        return first(number);
    const unsigned gap = static_cast<std::uint16_t>(number - due_);
    const unsigned distance = 0x10000U - gap;
    if (gap != 0 && distance <= reorderWindow)
        return behind(number, distance);
    run_ = 0;
    if (number < lowNumbers && gap > reorderWindow)
        return restart(number, 0);
    return ahead(number, gap);
}

Verdict SequenceTracker::first(std::uint16_t number) {
    started_ = true;
    due_ = number;
    return ahead(number, 0);
}

Verdict SequenceTracker::ahead(std::uint16_t number, unsigned gap) {
    const std::int64_t position = position_ + gap;
    advanceTo(position + 1);
    seen_.set(slot(position));
    due_ = static_cast<std::uint16_t>(number + 1);
    counts_.lost += gap;
    ++counts_.received;
    return {gap == 0 ? Arrival::inOrder : Arrival::afterGap, position};
}

Verdict SequenceTracker::behind(std::uint16_t number, unsigned distance) {
    if (continuesRun(number))
        return restart(number, restartRun - 1);
    const std::int64_t position = position_ - distance;
    if (seen_.test(slot(position))) {
        ++counts_.duplicated;
        return {Arrival::duplicate, position};
    }
    seen_.set(slot(position));
    // What left before the first datagram received was never counted as lost.
    if (position >= beginning_)
        --counts_.lost;
    ++counts_.reordered;
    ++counts_.received;
    return {Arrival::late, position};
}

// The datagrams that have already been received under the new count are given their places, so that
// positions go on in step with the samples.
Verdict SequenceTracker::restart(std::uint16_t number, unsigned alreadyReceived) {
    if (alreadyReceived != 0) {
        counts_ = beforeRun_;
        counts_.received += alreadyReceived;
    }
    run_ = 0;
    ++counts_.restarts;
    ++counts_.received;
    beginning_ = position_;
    const std::int64_t position = position_ + alreadyReceived;
    seen_.reset();
    position_ = position + 1;
    for (std::int64_t seen = beginning_; seen <= position; ++seen)
        seen_.set(slot(seen));
    due_ = static_cast<std::uint16_t>(number + 1);
    return {Arrival::restart, position};
}

bool SequenceTracker::continuesRun(std::uint16_t number) {
    if (run_ == 0 || number != runNext_) {
        run_ = 0;
        beforeRun_ = counts_;
    }
    ++run_;
    runNext_ = static_cast<std::uint16_t>(number + 1);
    return run_ == restartRun && number < lowNumbers;
}

void SequenceTracker::advanceTo(std::int64_t position) {
    if (position - position_ >= static_cast<std::int64_t>(seen_.size()))
        seen_.reset();
    else
        for (std::int64_t at = position_; at < position; ++at)
            seen_.reset(slot(at));
    position_ = position;
}

std::size_t SequenceTracker::slot(std::int64_t position) const {
    const auto size = static_cast<std::int64_t>(seen_.size());
    return static_cast<std::size_t>(((position % size) + size) % size);
}

} // namespace feedline::client
