// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/LevelMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

using namespace feedline::probe;

namespace {

std::vector<std::int16_t> tone(double amplitude, double dcI) {
    std::vector<std::int16_t> entries;
    for (int pair = 0; pair < 4096; ++pair) {
        const double phase = 2 * std::numbers::pi * pair / 64;
        entries.push_back(
            static_cast<std::int16_t>(std::lround(amplitude * std::cos(phase) + dcI)));
        entries.push_back(static_cast<std::int16_t>(std::lround(amplitude * std::sin(phase))));
    }
    return entries;
}

TEST(LevelMeterTest, FullAmplitudeIsZero) {
    LevelMeter meter;
    meter.add(tone(32767, 0));
    EXPECT_NEAR(meter.levels()[0].dBFS, 0, 0.01);
    EXPECT_NEAR(meter.levels()[1].dBFS, 0, 0.01);
}

TEST(LevelMeterTest, ATenthIsTwentyDecibelDown) {
    LevelMeter meter;
    meter.add(tone(3276.7, 0));
    EXPECT_NEAR(meter.levels()[0].dBFS, -20, 0.01);
}

TEST(LevelMeterTest, TellsTheOffsetOfEachChannel) {
    LevelMeter meter;
    meter.add(tone(1000, 327.67));
    EXPECT_NEAR(meter.levels()[0].dc, 0.01, 1e-5);
    EXPECT_NEAR(meter.levels()[1].dc, 0, 1e-5);
}

TEST(LevelMeterTest, CountsSamplesAtFullScaleOfEitherSign) {
    LevelMeter meter;
    meter.add(std::vector<std::int16_t>{32767, 0, -32767, 32766, -32768, 5});
    EXPECT_EQ(meter.levels()[0].clipped, 3U);
    EXPECT_EQ(meter.levels()[1].clipped, 0U);
}

TEST(LevelMeterTest, SilenceIsMinusInfinity) {
    LevelMeter meter;
    EXPECT_EQ(meter.levels()[0].dBFS, -INFINITY);
    meter.add(std::vector<std::int16_t>(512, 0));
    EXPECT_EQ(meter.levels()[0].dBFS, -INFINITY);
    EXPECT_EQ(meter.levels()[0].dc, 0);
}

TEST(LevelMeterTest, SumsOfTwoMetersAreThoseOfOne) {
    LevelMeter one;
    LevelMeter part;
    LevelMeter sum;
    one.add(tone(32767, 0));
    one.add(tone(1000, 100));
    part.add(tone(32767, 0));
    sum.add(part);
    part.reset();
    part.add(tone(1000, 100));
    sum.add(part);
    for (int channel = 0; channel < 2; ++channel) {
        EXPECT_DOUBLE_EQ(one.levels()[channel].dBFS, sum.levels()[channel].dBFS);
        EXPECT_DOUBLE_EQ(one.levels()[channel].dc, sum.levels()[channel].dc);
        EXPECT_EQ(one.levels()[channel].clipped, sum.levels()[channel].clipped);
    }
}

} // namespace
