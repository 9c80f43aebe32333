// SPDX-License-Identifier: MIT
#include "tools/soapy/Tuning.h"

#include <gtest/gtest.h>

#include <limits>

using namespace feedline::soapy;
using feedline::client::receiverKind;

namespace {

const auto& hf = receiverKind("AirSpyHF+");
const auto& airspy = receiverKind("AirSpy");

TEST(TuningTest, WithoutAConverterItIsWhatWasAskedFor) {
    const Tuning tuning(0, 0);
    const auto result = tuning.tune(hf, 7'100'000.4);
    EXPECT_EQ(result.receiver, 7'100'000U);
    EXPECT_EQ(result.frequency, 7'100'000.4);
    EXPECT_FALSE(result.clamped);
}

TEST(TuningTest, OutOfRangeIsTheNearestThereIs) {
    const Tuning tuning(0, 0);
    EXPECT_EQ(tuning.tune(hf, 0).receiver, 500U);
    EXPECT_EQ(tuning.tune(hf, 40e6).receiver, 31'000'000U);
    EXPECT_EQ(tuning.tune(hf, 50e6).receiver, 60'000'000U);
    EXPECT_EQ(tuning.tune(hf, 1e12).receiver, 260'000'000U);
    EXPECT_EQ(tuning.tune(hf, -1e12).receiver, 500U);
    EXPECT_EQ(tuning.tune(airspy, 7e6).receiver, 24'000'000U);
    const auto result = tuning.tune(hf, 40e6);
    EXPECT_TRUE(result.clamped);
    EXPECT_EQ(result.frequency, 31e6);
}

TEST(TuningTest, WhatIsNoFrequencyIsClamped) {
    const Tuning tuning(0, 0);
    for (const double value :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        const auto result = tuning.tune(hf, value);
        EXPECT_EQ(result.receiver, 500U);
        EXPECT_TRUE(result.clamped);
    }
}

TEST(TuningTest, AnUpConverterIsAddedAndTheRangesMove) {
    const Tuning tuning(125e6, 0);
    EXPECT_EQ(tuning.tune(airspy, 7.1e6).receiver, 132'100'000U);
    const auto ranges = tuning.ranges(airspy);
    ASSERT_EQ(ranges.size(), 1U);
    EXPECT_EQ(ranges[0].lowest, 0);
    EXPECT_EQ(ranges[0].highest, 1675e6);
    EXPECT_EQ(tuning.ranges(hf).size(), 1U);
}

TEST(TuningTest, ADownConverterIsSubtracted) {
    const Tuning tuning(-9750e6, 0);
    EXPECT_EQ(tuning.tune(airspy, 10489.5e6).receiver, 739'500'000U);
}

TEST(TuningTest, CorrectionTunesHigherByMillionths) {
    Tuning tuning(0, 0);
    tuning.setPpm(2.5);
    EXPECT_DOUBLE_EQ(tuning.ppm(), 2.5);
    EXPECT_EQ(tuning.tune(airspy, 100e6).receiver, 100'000'250U);
    EXPECT_EQ(tuning.shown(100'000'250), 100e6);
}

TEST(TuningTest, RangesAreNeverEmpty) {
    EXPECT_EQ(Tuning(1e12, 0).ranges(hf).size(), 1U);
}

} // namespace
