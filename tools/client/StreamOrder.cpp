// SPDX-License-Identifier: MIT
#include "tools/client/StreamOrder.h"

#include <algorithm>

namespace feedline::client {

void StreamOrder::add(const Verdict& verdict, std::int64_t nanoseconds,
                      std::span<const std::int16_t> samples) {
    if (verdict.arrival == Arrival::restart)
        begin(verdict.position);
    if (!started_) {
        started_ = true;
        next_ = verdict.position;
    }
    if (verdict.position < next_ || verdict.arrival == Arrival::duplicate)
        return;
    if (verdict.position != next_ || used_ != 0) {
        hold(verdict, nanoseconds, samples);
        release(mostHeldBack);
        return;
    }
    if (!run_.empty() && run_.data() + run_.size() == samples.data()) {
        run_ = {run_.data(), run_.size() + samples.size()};
    } else {
        flush();
        run_ = samples;
        runPosition_ = verdict.position;
        runNanoseconds_ = nanoseconds;
    }
    ++next_;
}

void StreamOrder::flush() {
    if (run_.empty())
        return;
    sink_.samples(runPosition_, runNanoseconds_, run_);
    run_ = {};
}

void StreamOrder::finish() {
    flush();
    release(0);
    started_ = false;
}

// Nothing from before a new beginning can be told from what comes after it.
void StreamOrder::begin(std::int64_t position) {
    finish();
    sink_.restart(position);
}

void StreamOrder::hold(const Verdict& verdict, std::int64_t nanoseconds,
                       std::span<const std::int16_t> samples) {
    if (used_ == held_.size())
        held_.emplace_back();
    Held& free = held_[used_++];
    free.position = verdict.position;
    free.nanoseconds = nanoseconds;
    free.samples.assign(samples.begin(), samples.end());
    const auto begin = held_.begin();
    const auto last = begin + static_cast<std::ptrdiff_t>(used_ - 1);
    const auto place =
        std::upper_bound(begin, last, verdict.position, [](std::int64_t position, const Held& h) {
            return position < h.position;
        });
    std::rotate(place, last, last + 1);
}

void StreamOrder::release(std::size_t mayWait) {
    flush();
    std::size_t passed = 0;
    while (passed < used_) {
        const Held& first = held_[passed];
        if (first.position > next_) {
            if (used_ - passed <= mayWait)
                break;
            sink_.gap(next_, first.position);
        }
        sink_.samples(first.position, first.nanoseconds, first.samples);
        next_ = first.position + 1;
        ++passed;
    }
    const auto begin = held_.begin();
    std::rotate(begin, begin + static_cast<std::ptrdiff_t>(passed),
                begin + static_cast<std::ptrdiff_t>(used_));
    used_ -= passed;
}

} // namespace feedline::client
