// SPDX-License-Identifier: MIT
#include "tools/client/RateMeter.h"

#include <gtest/gtest.h>

using namespace feedline::client;

namespace {

constexpr double datagramsPerSecond = 2.5e6 / 256;

TEST(RateMeterTest, KnowsNothingAtFirst) {
    RateMeter meter;
    EXPECT_EQ(meter.current(), 0);
    EXPECT_EQ(meter.overall(), 0);
    meter.add(0, 1'000'000);
    EXPECT_EQ(meter.overall(), 0);
    EXPECT_EQ(meter.windows(), 0U);
}

TEST(RateMeterTest, MeasuresEvenArrivals) {
    RateMeter meter;
    for (int position = 0; position < 30000; ++position)
        meter.add(position, 7'000'000'000 + static_cast<std::int64_t>(position / 3000.0 * 1e9));
    EXPECT_NEAR(meter.overall(), 768000, 1);
    EXPECT_NEAR(meter.current(), 768000, 1);
    EXPECT_EQ(meter.windows(), 9U);
}

// 256 datagrams back to back every 26 ms.
TEST(RateMeterTest, BlocksBackToBackDoNotDisturbIt) {
    RateMeter meter;
    for (int position = 0; position < 3 * datagramsPerSecond; ++position) {
        const int block = position / 256;
        const double time = block * 256 / datagramsPerSecond + position % 256 * 1e-6;
        meter.add(position, static_cast<std::int64_t>(time * 1e9));
    }
    EXPECT_NEAR(meter.overall(), 2.5e6, 2.5e6 * 0.005);
}

TEST(RateMeterTest, ABacklogAtTheStartDoesNotDisturbIt) {
    RateMeter meter;
    constexpr int backlog = 20000;
    for (std::int64_t position = 0; position < backlog; ++position)
        meter.add(position, position * 2000);
    for (int position = 0; position < 15000; ++position)
        meter.add(backlog + position,
                  40'000'000 + static_cast<std::int64_t>(position / 3000.0 * 1e9));
    EXPECT_NEAR(meter.overall(), 768000, 768000 * 0.001);
}

TEST(RateMeterTest, LostDatagramsDoNotLowerIt) {
    RateMeter meter;
    for (int position = 0; position < 9000; ++position)
        if (position % 3 != 0)
            meter.add(position, static_cast<std::int64_t>(position / 3000.0 * 1e9));
    EXPECT_NEAR(meter.overall(), 768000, 768000 * 0.001);
}

// However long it runs, it keeps no more.
TEST(RateMeterTest, KeepsTheLatestHour) {
    RateMeter meter;
    constexpr std::int64_t second = 1'000'000'000;
    constexpr std::int64_t hour = 7200; // halves of a second
    for (std::int64_t half = 0; half < 3 * hour; ++half)
        meter.add(half < hour ? half * 750 : half * 1500, half * second / 2);
    EXPECT_EQ(meter.windows(), RateMeter::mostWindows);
    EXPECT_NEAR(meter.current(), 768000, 1);
    EXPECT_NEAR(meter.overall(), 768000, 1);
}

} // namespace
