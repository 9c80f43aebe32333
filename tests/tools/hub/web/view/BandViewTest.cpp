// SPDX-License-Identifier: MIT
#include "tools/hub/web/view/BandView.h"

#include "Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

constexpr int rate = 192000;
constexpr double centre = 7.1e6;

std::shared_ptr<const LevelRow> rowOf(const Pairs& pairs) {
    BandView view(rate);
    return view.add(pairs, centre);
}

TEST(BandViewTest, BinsArePowersOfTwoThatFitATenthOfASecond) {
    EXPECT_EQ(BandView(768000).bins(), 65536U);
    EXPECT_EQ(BandView(192000).bins(), 16384U);
    EXPECT_EQ(BandView(2500000).bins(), 131072U);
    EXPECT_EQ(BandView(10000000).bins(), 262144U);
    EXPECT_EQ(BandView(8000).bins(), 1024U);
}

TEST(BandViewTest, ThereAreTenRowsASecond) {
    BandView view(rate);
    const Pairs pairs = carrier(0, -20, rate, 1);
    int rows = 0;
    for (std::size_t at = 0; at < pairs.size(); at += 960)
        rows += view.add(std::span(pairs).subspan(at, 960), centre) != nullptr ? 1 : 0;
    EXPECT_EQ(rows, 10);
}

TEST(BandViewTest, ACarrierHasItsLevelAtItsFrequency) {
    for (const double offset : {-90000.0, -12345.0, 0.0, 50000.0}) {
        const auto row = rowOf(carrier(offset, -40, rate, 0.1));
        ASSERT_TRUE(row);
        std::array<std::uint8_t, rowPoints> points{};
        const View around{centre + offset - 5000, 10000};
        row->cut(around, points);
        const auto peak = std::max_element(points.begin(), points.end());
        EXPECT_NEAR(levelFloor + levelStep * *peak, -40, 1.5) << offset;
        // A carrier's top is three bins wide; its middle counts.
        const auto last = std::find_if_not(peak, points.end(), [&](auto p) { return p == *peak; });
        const double middle =
            static_cast<double>((peak - points.begin()) + (last - points.begin())) / 2;
        EXPECT_NEAR(around.low + middle * around.span / rowPoints, centre + offset, 12) << offset;
        EXPECT_NEAR(row->levelBetween(centre + offset - 200, centre + offset + 200), -40, 0.2);
    }
}

TEST(BandViewTest, NoiseInAPassBandIsWhatItWouldMeasure) {
    std::mt19937 generator(1);
    std::normal_distribution<float> normal(0, 1e-3F);
    Pairs pairs(19200);
    for (auto& pair : pairs)
        pair = {normal(generator), normal(generator)};
    const double all = 10 * std::log10(2e-6);
    EXPECT_NEAR(rowOf(pairs)->levelBetween(centre - rate, centre + rate), all, 0.3);
    EXPECT_NEAR(rowOf(pairs)->levelBetween(centre, centre + rate), all - 3, 0.4);
}

TEST(BandViewTest, AStrongCarrierHidesNothing) {
    std::array<std::uint8_t, rowPoints> points{};
    rowOf(carrier(10000, 0, rate, 0.1))->cut({centre - 50000, 50000}, points);
    EXPECT_LT(levelFloor + levelStep * *std::max_element(points.begin(), points.end()), -90);
}

TEST(BandViewTest, AfterARestartTheRowIsAllNew) {
    BandView view(rate);
    EXPECT_FALSE(view.add(carrier(0, 0, rate, 0.09), centre));
    view.restart();
    EXPECT_FALSE(view.add(Pairs(19100), centre));
    const auto row = view.add(Pairs(100), centre);
    ASSERT_TRUE(row);
    EXPECT_LT(row->levelBetween(centre - rate, centre + rate), -190);
}

} // namespace
