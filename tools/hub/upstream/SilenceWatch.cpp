// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/SilenceWatch.h"

#include <algorithm>

namespace feedline::hub {

void SilenceWatch::expect(Clock::time_point now) {
    expectedSince_ = now;
}

void SilenceWatch::rest() {
    expectedSince_.reset();
    began_.reset();
}

SilenceWatch::Step SilenceWatch::look(Clock::time_point now, Clock::time_point lastArrival) {
    if (!expectedSince_)
        return Step::none;
    if (began_ && lastArrival > *began_) {
        length_ = lastArrival - *began_;
        began_.reset();
        expectedSince_ = lastArrival;
        return Step::ended;
    }
    if (began_) {
        length_ = now - *began_;
        return next(now);
    }
    const auto heard = std::max(*expectedSince_, lastArrival);
    return now - heard < limit ? Step::none : begin(heard);
}

SilenceWatch::Step SilenceWatch::begin(Clock::time_point heard) {
    began_ = heard;
    nextStep_ = heard;
    pause_ = commandLimit;
    revived_ = false;
    return Step::began;
}

SilenceWatch::Step SilenceWatch::next(Clock::time_point now) {
    if (now < nextStep_)
        return Step::none;
    revived_ = !revived_;
    if (revived_) {
        nextStep_ = now + restartLimit;
        return Step::stopAndRun;
    }
    nextStep_ = now + pause_;
    pause_ = std::min(2 * pause_, longestCommandLimit);
    return Step::command;
}

} // namespace feedline::hub
