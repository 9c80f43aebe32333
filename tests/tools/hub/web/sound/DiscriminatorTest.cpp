// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Discriminator.h"

#include "Signals.h"

#include <gtest/gtest.h>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

TEST(DiscriminatorTest, ItsAnglesAreThoseOfTheCLibrary) {
    for (int step = -1000; step <= 1000; ++step) {
        const double angle = std::numbers::pi * step / 1000;
        const auto y = static_cast<float>(3e-4 * std::sin(angle));
        const auto x = static_cast<float>(3e-4 * std::cos(angle));
        EXPECT_NEAR(angleOf(y, x), std::atan2(y, x), 2e-6) << angle;
    }
    EXPECT_EQ(angleOf(0, 0), 0);
}

TEST(DiscriminatorTest, FullDeviationIsFullAmplitude) {
    Discriminator discriminator(240e3, {75e3, 50e-6, 0});
    std::vector<float> sound;
    discriminator.add(fmStation(400, 75e3, -30, 240e3, 0.2), sound);
    EXPECT_NEAR(toneLevel(sound, 400, 240e3), 0, 0.1);
}

// 50 us is 3 dB at 3183 Hz.
TEST(DiscriminatorTest, HighTonesAreLoweredByTheTimeConstant) {
    Discriminator discriminator(240e3, {75e3, 50e-6, 0});
    std::vector<float> sound;
    discriminator.add(fmStation(3183, 40e3, -30, 240e3, 0.2), sound);
    EXPECT_NEAR(toneLevel(sound, 3183, 240e3), 20 * std::log10(40.0 / 75) - 3.01, 0.1);
}

TEST(DiscriminatorTest, TheReferenceToneKeepsItsLevel) {
    Discriminator discriminator(24e3, {5e3, 750e-6, 1000});
    std::vector<float> sound;
    discriminator.add(fmStation(1000, 2.5e3, -60, 24e3, 0.5), sound);
    EXPECT_NEAR(toneLevel(sound, 1000, 24e3), 20 * std::log10(0.5), 0.3);
}

TEST(DiscriminatorTest, SilenceIsNoFrequency) {
    Discriminator discriminator(24e3, {5e3, 750e-6, 1000});
    std::vector<float> sound;
    discriminator.add(Pairs(100), sound);
    EXPECT_EQ(sound, std::vector<float>(100));
}

} // namespace
