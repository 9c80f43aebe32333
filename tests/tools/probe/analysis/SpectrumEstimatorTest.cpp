// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/SpectrumEstimator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

using namespace feedline::probe;

namespace {

constexpr double rate = 768000;
constexpr std::size_t frame = SpectrumEstimator::size;

std::vector<std::int16_t> carrier(double offset, double dBFS, std::size_t pairs) {
    std::vector<std::int16_t> entries;
    const double amplitude = 32767 * std::pow(10, dBFS / 20);
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        const double phase = 2 * std::numbers::pi * offset / rate * static_cast<double>(pair);
        entries.push_back(static_cast<std::int16_t>(std::lround(amplitude * std::cos(phase))));
        entries.push_back(static_cast<std::int16_t>(std::lround(amplitude * std::sin(phase))));
    }
    return entries;
}

Spectrum spectrumOf(const std::vector<std::int16_t>& entries) {
    SpectrumEstimator estimator;
    estimator.add(entries, 0);
    return estimator.take().average();
}

class CarrierTest : public testing::TestWithParam<double> {};

TEST_P(CarrierTest, IsFoundWhereItIs) {
    const auto found = strongestCarrier(spectrumOf(carrier(GetParam(), -20, 8 * frame)), rate);
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->offset, GetParam(), 10);
    EXPECT_NEAR(found->dBFS, -20, 0.1);
}

INSTANTIATE_TEST_SUITE_P(Offsets, CarrierTest,
                         testing::Values(0.0, 100.0, 25000.0, 25093.75, -310123.0, 383900.0));

TEST(SpectrumEstimatorTest, LowerEdgeComesFirst) {
    const Spectrum spectrum = spectrumOf(carrier(-rate / 4, 0, frame));
    ASSERT_EQ(spectrum.size(), frame);
    EXPECT_EQ(std::max_element(spectrum.begin(), spectrum.end()) - spectrum.begin(), frame / 4);
}

TEST(SpectrumEstimatorTest, AStrongCarrierHidesNothingFarAway) {
    const Spectrum spectrum = spectrumOf(carrier(50000, -6, 4 * frame));
    const auto bin = static_cast<std::size_t>((0.5 - 100000 / rate) * frame);
    EXPECT_LT(spectrum[bin], -95);
}

TEST(SpectrumEstimatorTest, WeakerCarrierOfTwoIsNotTheStrongest) {
    auto entries = carrier(100000, -30, 4 * frame);
    const auto weaker = carrier(-50000, -40, 4 * frame);
    for (std::size_t at = 0; at < entries.size(); ++at)
        entries[at] = static_cast<std::int16_t>(entries[at] + weaker[at]);
    EXPECT_NEAR(strongestCarrier(spectrumOf(entries), rate)->offset, 100000, 10);
}

TEST(SpectrumEstimatorTest, NoFrameNoSpectrum) {
    EXPECT_TRUE(spectrumOf(carrier(0, 0, frame - 1)).empty());
    EXPECT_FALSE(strongestCarrier({}, rate));
}

TEST(SpectrumEstimatorTest, SilenceHasNoCarrier) {
    EXPECT_FALSE(strongestCarrier(spectrumOf(std::vector<std::int16_t>(2 * frame, 0)), rate));
}

TEST(SpectrumEstimatorTest, FrameNeverSpansAGap) {
    SpectrumEstimator estimator;
    const auto entries = carrier(25000, -20, frame - 256);
    estimator.add(entries, 0);
    estimator.add(entries, 100000);
    EXPECT_EQ(estimator.take().frames, 0U);
    estimator.add(carrier(25000, -20, 256), 100000 + static_cast<std::int64_t>(frame) - 256);
    EXPECT_EQ(estimator.take().frames, 1U);
    EXPECT_EQ(estimator.take().frames, 0U);
}

TEST(PowerSumTest, AddsFrames) {
    PowerSum sum;
    sum.add({});
    EXPECT_EQ(sum.frames, 0U);
    sum.add({{1.0, 0.01}, 1});
    sum.add({{3.0, 0.03}, 1});
    const Spectrum average = sum.average();
    EXPECT_NEAR(average[0], 3.01, 0.01);
    EXPECT_NEAR(average[1], -16.99, 0.01);
}

} // namespace
