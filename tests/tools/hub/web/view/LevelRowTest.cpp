// SPDX-License-Identifier: MIT
#include "tools/hub/web/view/LevelRow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using namespace feedline::hub::web;

namespace {

constexpr std::size_t bins = 65536;
constexpr View band{6716000, 768000};
constexpr double bin = band.span / bins;

class LevelRowTest : public testing::Test {
protected:
    void put(std::size_t at, std::uint8_t level, float power = 0) {
        levels[at] = level;
        powers[at] = power;
    }
    std::array<std::uint8_t, rowPoints> cut(const View& view) {
        std::array<std::uint8_t, rowPoints> points{};
        LevelRow(band, levels, powers).cut(view, points);
        return points;
    }
    static double frequencyOf(std::size_t at) {
        return band.low + (static_cast<double>(at) + 0.5) * bin;
    }

    std::vector<std::uint8_t> levels = std::vector<std::uint8_t>(bins, 10);
    std::vector<float> powers = std::vector<float>(bins);
};

TEST_F(LevelRowTest, ACarrierKeepsItsLevelAndItsPlaceInTheWholeBand) {
    put(40000, 200);
    const auto points = cut(band);
    EXPECT_EQ(points[40000 / 64], 200);
    EXPECT_EQ(std::count(points.begin(), points.end(), 10), rowPoints - 1);
}

// Whatever the zoom, the point is the one whose range of frequencies the bin's middle lies in.
TEST_F(LevelRowTest, ACarrierStandsAtItsFrequencyInAnyView) {
    put(40000, 200);
    for (const double span : {768000.0, 500000.0, 333333.0, 96000.0, 50001.0, 20000.0, 12001.0}) {
        const View view{frequencyOf(40000) - 0.37 * span, span};
        const auto points = cut(view);
        const auto peak = std::max_element(points.begin(), points.end()) - points.begin();
        ASSERT_EQ(points[static_cast<std::size_t>(peak)], 200) << span;
        EXPECT_NEAR(static_cast<double>(peak), 0.37 * rowPoints, 2) << span;
    }
}

TEST_F(LevelRowTest, FartherInABinIsSeveralPoints) {
    put(40000, 200);
    const View view{frequencyOf(40000) - 1000, 2000};
    const auto points = cut(view);
    const auto wide = std::count(points.begin(), points.end(), 200);
    EXPECT_NEAR(static_cast<double>(wide), bin / 2000 * rowPoints, 1);
    EXPECT_EQ(points[rowPoints / 2], 200);
}

TEST_F(LevelRowTest, OutsideTheBandThereIsNothing) {
    const auto points = cut({band.low - 384000, 768000});
    EXPECT_EQ(points[0], 0);
    EXPECT_EQ(points[511], 0);
    EXPECT_EQ(points[513], 10);
    const auto far = cut({100e6, 768000});
    EXPECT_EQ(std::count(far.begin(), far.end(), 0), rowPoints);
}

TEST_F(LevelRowTest, ViewsOfAnySizeAreSafe) {
    for (const View& view : {View{0, 0}, View{0, 1e12}, View{-1e9, 1}, View{7.1e6, 0.001}})
        cut(view);
}

TEST_F(LevelRowTest, LevelBetweenIsTheSumOfThePowers) {
    put(40000, 200, 0.001F);
    put(40010, 200, 0.001F);
    const LevelRow row(band, levels, powers);
    EXPECT_NEAR(row.levelBetween(frequencyOf(39990), frequencyOf(40020)), -26.99, 0.01);
    EXPECT_NEAR(row.levelBetween(frequencyOf(39990), frequencyOf(40005)), -30, 0.01);
    EXPECT_EQ(row.levelBetween(100e6, 101e6), -200);
}

TEST(LevelOfTest, IsCutOffAtBothEnds) {
    EXPECT_EQ(levelOf(-400), 0);
    EXPECT_EQ(levelOf(-160), 0);
    EXPECT_EQ(levelOf(-80), 128);
    EXPECT_EQ(levelOf(3), 255);
}

} // namespace
