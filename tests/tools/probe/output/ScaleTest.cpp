// SPDX-License-Identifier: MIT
#include "tools/probe/output/Scale.h"

#include <gtest/gtest.h>

using namespace feedline::probe;

namespace {

TEST(ScaleTest, TicksAreRoundAndWithinTheRange) {
    EXPECT_EQ(ticks({-110, -10}, 5), (std::vector<double>{-100, -80, -60, -40, -20}));
    EXPECT_EQ(ticks({0, 10}, 2), (std::vector<double>{0, 5, 10}));
    EXPECT_EQ(ticks({6716, 7484}, 10).front(), 6800);
    EXPECT_EQ(ticks({0, 0.25}, 5).size(), 6U);
}

TEST(ScaleTest, DecimalsFollowTheStep) {
    EXPECT_EQ(decimals({0, 20}), 0);
    EXPECT_EQ(decimals({0, 0.5, 1}), 1);
    EXPECT_EQ(decimals({0, 0.05}), 2);
    EXPECT_EQ(decimals({}), 0);
}

TEST(ScaleTest, LevelRangeHoldsNoiseAndPeak) {
    Spectrum spectrum(1000, -101);
    spectrum[7] = -23;
    const Range range = levelRange(spectrum);
    EXPECT_EQ(range.low, -110);
    EXPECT_EQ(range.high, -10);
    EXPECT_TRUE(stillFits(range, spectrum));
    spectrum[7] = -5;
    EXPECT_FALSE(stillFits(range, spectrum));
    EXPECT_FALSE(stillFits(range, Spectrum(1000, -109)));
}

TEST(ScaleTest, SilenceHasARangeToo) {
    const Range range = levelRange(Spectrum(1000, -300));
    EXPECT_GE(range.high - range.low, 30);
    EXPECT_EQ(levelRange({}).high, 0);
}

TEST(ScaleTest, ColoursRiseInBrightness) {
    int last = -1;
    for (int step = 0; step <= 50; ++step) {
        const auto [red, green, blue] = colour(step / 50.0);
        const int brightness = 299 * red + 587 * green + 114 * blue;
        EXPECT_GT(brightness, last) << step;
        last = brightness;
    }
    EXPECT_EQ(colour(-1), colour(0));
    EXPECT_EQ(colour(2), colour(1));
}

} // namespace
