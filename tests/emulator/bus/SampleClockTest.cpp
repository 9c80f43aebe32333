// SPDX-License-Identifier: MIT
#include "emulator/bus/SampleClock.h"

#include <gtest/gtest.h>

using namespace feedline::emulator;
using namespace std::chrono_literals;

TEST(SampleClock, DoesNotDriftInADay) {
    const SampleClock::Instant start{};
    const SampleClock clock(start, 768000);
    EXPECT_EQ(clock.due(0), start);
    EXPECT_EQ(clock.due(768000ULL * 86400), start + 24h);
    EXPECT_EQ(clock.positionAt(start + 24h), 768000ULL * 86400);
}

TEST(SampleClock, NothingIsTakenBeforeTheStart) {
    const SampleClock clock(SampleClock::Instant{} + 1s, 768000);
    EXPECT_EQ(clock.positionAt(SampleClock::Instant{}), 0U);
}

TEST(SampleClock, WithoutARateEverythingIsDueAtOnce) {
    const SampleClock::Instant start{};
    const SampleClock clock(start, 0);
    EXPECT_EQ(clock.due(1000000), start);
    EXPECT_EQ(clock.positionAt(start + 1h), 0U);
}

TEST(SampleClock, PostponedItGoesOnLaterAtTheSameRate) {
    const SampleClock::Instant start{};
    SampleClock clock(start, 768000);
    clock.postpone(20ms);
    EXPECT_EQ(clock.due(768000), start + 1020ms);
    EXPECT_EQ(clock.positionAt(start + 1020ms), 768000U);
}
