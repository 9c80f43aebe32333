// SPDX-License-Identifier: MIT
#include "emulator/bus/Faults.h"

#include <gtest/gtest.h>

using namespace feedline::emulator;

namespace {

Fault failing(const std::string& point, long value, unsigned long at = 1, bool always = false) {
    return {point, Fault::Action::fail, value, at, always};
}

} // namespace

TEST(Faults, StrikeOnceAtTheNthCall) {
    Faults faults;
    faults.add(failing("request:2", -9, 3));
    EXPECT_FALSE(faults.strike("request:2"));
    EXPECT_FALSE(faults.strike("request:1"));
    EXPECT_FALSE(faults.strike("request:2"));
    EXPECT_EQ(faults.strike("request:2")->value, -9);
    EXPECT_FALSE(faults.strike("request:2"));
}

TEST(Faults, StrikeAlwaysFromTheNthCallOn) {
    Faults faults;
    faults.add(failing("submit", -1, 2, true));
    EXPECT_FALSE(faults.strike("submit"));
    EXPECT_TRUE(faults.strike("submit"));
    EXPECT_TRUE(faults.strike("submit"));
    faults.clear();
    EXPECT_FALSE(faults.strike("submit"));
}

TEST(Faults, AnyRequestCountsForTheStar) {
    Faults faults;
    faults.add(failing("request:*", -1, 2));
    EXPECT_FALSE(faults.strike("request:7"));
    EXPECT_FALSE(faults.strike("open"));
    EXPECT_TRUE(faults.strike("request:9"));
}

TEST(Faults, TwoFaultsStrikeOneAfterTheOther) {
    Faults faults;
    faults.add(failing("open", -1));
    faults.add(failing("open", -3));
    EXPECT_EQ(faults.strike("open")->value, -1);
    EXPECT_EQ(faults.strike("open")->value, -3);
    EXPECT_FALSE(faults.strike("open"));
}
