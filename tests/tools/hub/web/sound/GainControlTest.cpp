// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/GainControl.h"

#include "Signals.h"

#include <gtest/gtest.h>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

constexpr double rate = 12000;

TEST(GainControlTest, AnyLevelComesOutAlike) {
    for (const double level : {-100.0, -60.0, -20.0, 0.0}) {
        GainControl control(rate);
        Pairs pairs = carrier(500, level, rate, 2);
        control.apply(pairs);
        EXPECT_NEAR(std::abs(pairs.back()), GainControl::target, 0.01) << level;
    }
}

TEST(GainControlTest, ALoudBeginningDoesNotOvershoot) {
    GainControl control(rate);
    Pairs quiet = carrier(500, -80, rate, 1);
    Pairs loud = carrier(500, -10, rate, 1);
    control.apply(quiet);
    control.apply(loud);
    for (const auto pair : loud)
        ASSERT_LT(std::abs(pair), 1.5 * GainControl::target);
}

TEST(GainControlTest, HoldsBeforeItRises) {
    GainControl control(rate);
    control.setSpeed(GainSpeed::slow);
    Pairs loud = carrier(500, -20, rate, 1);
    Pairs quiet = carrier(500, -40, rate, 6);
    control.apply(loud);
    control.apply(quiet);
    const auto at = [&](double seconds) {
        return 20 * std::log10(std::abs(quiet[static_cast<std::size_t>(seconds * rate)]) /
                               GainControl::target);
    };
    EXPECT_NEAR(at(0.4), -20, 0.5);
    EXPECT_LT(at(1.5), -5);
    EXPECT_NEAR(at(5.9), 0, 0.5);
}

TEST(GainControlTest, FixedGainIsTheGainThatWasSet) {
    GainControl control(rate);
    control.setSpeed(GainSpeed::off);
    control.setFixedGain(30);
    Pairs pairs = carrier(500, -50, rate, 1);
    control.apply(pairs);
    EXPECT_NEAR(std::abs(pairs.back()), 0.1, 0.001);
}

TEST(GainControlTest, CutsWhatIsTooLoudForItsFixedGain) {
    GainControl control(rate);
    control.setSpeed(GainSpeed::off);
    control.setFixedGain(60);
    Pairs pairs = carrier(500, -10, rate, 1);
    control.apply(pairs);
    EXPECT_NEAR(std::abs(pairs.back()), 1, 1e-5);
}

TEST(GainControlTest, SilenceStaysSilent) {
    GainControl control(rate);
    Pairs pairs(1000);
    control.apply(pairs);
    EXPECT_EQ(pairs, Pairs(1000));
}

TEST(GainControlTest, SpeedsHaveNames) {
    for (const GainSpeed speed :
         {GainSpeed::off, GainSpeed::fast, GainSpeed::medium, GainSpeed::slow})
        EXPECT_EQ(gainSpeedCalled(nameOf(speed)), speed);
    EXPECT_EQ(gainSpeedCalled("medium"), GainSpeed::medium);
    EXPECT_EQ(gainSpeedCalled("quick"), std::nullopt);
}

} // namespace
