// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Squelch.h"

#include <gtest/gtest.h>

#include <vector>

using namespace feedline::hub::web;

namespace {

constexpr double rate = 12000;
constexpr std::size_t block = 240; // 20 ms

class SquelchTest : public testing::Test {
protected:
    bool hears(double level) {
        std::vector<float> samples(block, 1.0F);
        const bool any = squelch.apply(samples, level);
        last = samples.back();
        return any;
    }

    Squelch squelch{rate};
    float last = 0;
};

TEST_F(SquelchTest, IsOpenUntilALevelIsSet) {
    EXPECT_TRUE(hears(-190));
    EXPECT_EQ(last, 1);
}

TEST_F(SquelchTest, OpensAtItsLevel) {
    squelch.setLevel(-80);
    EXPECT_FALSE(hears(-80.1));
    EXPECT_TRUE(hears(-80));
    EXPECT_EQ(last, 1);
}

TEST_F(SquelchTest, StaysOpenWithinTheHysteresis) {
    squelch.setLevel(-80);
    hears(-79);
    for (int blocks = 0; blocks < 100; ++blocks)
        ASSERT_TRUE(hears(-82.9));
}

TEST_F(SquelchTest, ClosesAFifthOfASecondAfterTheStation) {
    squelch.setLevel(-80);
    hears(-79);
    int blocks = 0;
    while (hears(-90))
        ASSERT_LT(++blocks, 100);
    EXPECT_EQ(blocks, 10);
    EXPECT_EQ(last, 0);
}

TEST_F(SquelchTest, AWordInTimeKeepsItOpen) {
    squelch.setLevel(-80);
    for (int blocks = 0; blocks < 100; ++blocks)
        ASSERT_TRUE(hears(blocks % 8 == 0 ? -79 : -90));
}

TEST_F(SquelchTest, FadesWithoutAJump) {
    squelch.setLevel(-80);
    std::vector<float> samples(block, 1.0F);
    squelch.apply(samples, -70);
    for (std::size_t at = 1; at < block; ++at)
        ASSERT_LT(samples[at] - samples[at - 1], 0.02F);
    EXPECT_LT(samples[0], 0.02F);
}

} // namespace
