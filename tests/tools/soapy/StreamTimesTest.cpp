// SPDX-License-Identifier: MIT
#include "tools/soapy/StreamTimes.h"

#include <gtest/gtest.h>

using namespace feedline::soapy;

namespace {

constexpr std::int64_t second = 1'000'000'000; // ns
constexpr std::int64_t begin = 1000 * second;  // small enough to be exact as a double
constexpr std::int64_t perSecond = 3000;       // datagrams of an HF+
constexpr std::int64_t wrap = 65536;           // datagrams

std::int64_t after(std::int64_t datagrams) {
    return begin + datagrams * second / perSecond;
}

class StreamTimesTest : public testing::Test {
protected:
    StreamTimesTest() { times.stamp(0, 8, begin); }

    StreamTimes times{768000};
};

TEST_F(StreamTimesTest, SamplesCountAndNotArrivals) {
    const auto stamp = times.stamp(8, 8, after(8) + 12'345);
    EXPECT_NEAR(stamp.nanoseconds, after(8), 1);
    EXPECT_FALSE(stamp.broken);
}

TEST_F(StreamTimesTest, RoundingsDoNotAddUp) {
    StreamTimes times(3e6);
    times.stamp(0, 1, begin);
    for (std::int64_t at = 1; at <= 1'000'000; ++at)
        times.stamp(at, 1, begin + at * 256 * 1000 / 3);
    EXPECT_EQ(times.stamp(1'000'001, 1, begin + 85'333'418'667).nanoseconds,
              begin + 85'333'418'667);
}

TEST_F(StreamTimesTest, ALossIsAsLongAsTheNumbersSay) {
    const auto stamp = times.stamp(108, 8, after(108) + second / 2);
    EXPECT_NEAR(stamp.nanoseconds, after(108), 1);
    EXPECT_TRUE(stamp.broken);
    EXPECT_FALSE(times.stamp(116, 8, after(116)).broken);
}

// By its numbers 30 s are 8 s.
TEST_F(StreamTimesTest, ALossBeyondTheWrapGoesByTheClock) {
    const auto stamp = times.stamp(90000 % wrap, 8, after(90000));
    EXPECT_NEAR(stamp.nanoseconds, after(90000), 1);
    EXPECT_TRUE(stamp.broken);
}

TEST_F(StreamTimesTest, ANewBeginningGoesByTheClock) {
    times.restart();
    const auto stamp = times.stamp(8, 8, after(3000));
    EXPECT_NEAR(stamp.nanoseconds, after(3000), 1);
    EXPECT_TRUE(stamp.broken);
    EXPECT_NEAR(times.stamp(16, 8, after(3008)).nanoseconds, after(3008), 1);
}

TEST_F(StreamTimesTest, ABeginningBeforeTheFirstIsNoLoss) {
    StreamTimes times(768000);
    times.restart();
    EXPECT_FALSE(times.stamp(0, 8, begin).broken);
}

// A receiver that stood still uses no numbers up.
TEST_F(StreamTimesTest, SilenceIsALoss) {
    const auto stamp = times.stamp(8, 8, begin + 10 * second);
    EXPECT_EQ(stamp.nanoseconds, begin + 10 * second);
    EXPECT_TRUE(stamp.broken);
}

TEST_F(StreamTimesTest, AStallOfTheNetworkIsNone) {
    EXPECT_FALSE(times.stamp(8, 8, begin + second).broken);
}

TEST_F(StreamTimesTest, TimeNeverRunsBackwards) {
    times.restart();
    const auto stamp = times.stamp(8, 8, begin - 5 * second);
    EXPECT_NEAR(stamp.nanoseconds, after(8), 1);
    EXPECT_TRUE(stamp.broken);
}

TEST_F(StreamTimesTest, AnotherRateHoldsFromThereOn) {
    times.setRate(384000);
    EXPECT_NEAR(times.stamp(8, 8, after(16)).nanoseconds, after(16), 1);
    EXPECT_NEAR(times.stamp(16, 8, after(32)).nanoseconds, after(32), 1);
}

// Ten million pairs a second: the numbers wrap after 1.7 s.
TEST_F(StreamTimesTest, TheFasterTheSoonerTheClockIsBelieved) {
    StreamTimes times(10e6);
    times.stamp(0, 1, begin);
    const auto stamp = times.stamp(1, 1, begin + wrap * 25'600);
    EXPECT_TRUE(stamp.broken);
    EXPECT_EQ(stamp.nanoseconds, begin + wrap * 25'600);
}

} // namespace
