// SPDX-License-Identifier: MIT
#include "tools/hub/band/Rates.h"

#include <gtest/gtest.h>

namespace feedline::hub {
namespace {

TEST(Rates, AreMultiplesOfTwoHundred) {
    EXPECT_EQ(channelRate(48000, 768000), 48000U);
    EXPECT_EQ(channelRate(44100, 768000), 44200U);
    EXPECT_EQ(channelRate(44099, 768000), 44000U);
    EXPECT_EQ(channelRate(225001, 768000), 225000U);
}

TEST(Rates, HaveLimits) {
    EXPECT_EQ(channelRate(0, 768000), 8000U);
    EXPECT_EQ(channelRate(7999, 768000), 8000U);
    EXPECT_EQ(channelRate(3200000, 768000), 3200000U);
    EXPECT_EQ(channelRate(4000000, 768000), 3200000U);
    EXPECT_EQ(channelRate(4294967295U, 10000000), 10000000U);
    EXPECT_EQ(channelRate(9000100, 10000000), 9000200U);
    EXPECT_EQ(channelRate(48000, 0), 48000U);
}

TEST(Rates, AreTheReceivedOneWhenThatIsAskedFor) {
    EXPECT_EQ(channelRate(10000000, 10000000), 10000000U);
    EXPECT_EQ(channelRate(6000, 6000), 6000U);
}

TEST(Rates, TakeAMeasuredStreamToTheNearestMultiple) {
    EXPECT_EQ(receivedRate(768000), 768000U);
    EXPECT_EQ(receivedRate(1234567.8), 1234600U);
}

} // namespace
} // namespace feedline::hub
