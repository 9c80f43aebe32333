// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/WaterfallHistory.h"

#include <gtest/gtest.h>

using namespace feedline::probe;

namespace {

PowerSum power(double value) {
    return {{value}, 1};
}

TEST(WaterfallHistoryTest, PutsPowerIntoTheRowOfItsTime) {
    WaterfallHistory history;
    const std::int64_t row = history.pairsPerRow();
    history.add(0, power(1));
    history.add(row - 1, power(2));
    history.add(2 * row, power(4));
    ASSERT_EQ(history.rows().size(), 3U);
    EXPECT_EQ(history.rows()[0].frames, 2U);
    EXPECT_EQ(history.rows()[0].power[0], 3);
    EXPECT_EQ(history.rows()[1].frames, 0U);
    EXPECT_EQ(history.rows()[2].power[0], 4);
    EXPECT_TRUE(history.sameRow(0, row - 1));
    EXPECT_FALSE(history.sameRow(row - 1, row));
}

TEST(WaterfallHistoryTest, OutgrownRowsBecomeTwiceAsLong) {
    WaterfallHistory history;
    const std::int64_t row = history.pairsPerRow();
    constexpr auto most = static_cast<std::int64_t>(WaterfallHistory::mostRows);
    for (std::int64_t at = 0; at < most; ++at)
        history.add(at * row, power(1));
    EXPECT_EQ(history.rows().size(), WaterfallHistory::mostRows);
    history.add(most * row, power(1));
    EXPECT_EQ(history.pairsPerRow(), 2 * row);
    ASSERT_EQ(history.rows().size(), WaterfallHistory::mostRows / 2 + 1);
    EXPECT_EQ(history.rows()[0].frames, 2U);
    EXPECT_EQ(history.rows()[0].power[0], 2);
    EXPECT_EQ(history.rows().back().frames, 1U);
}

TEST(WaterfallHistoryTest, AGreatJumpIsTaken) {
    WaterfallHistory history;
    history.add(0, power(1));
    history.add(1'000'000'000'000, power(1));
    EXPECT_LE(history.rows().size(), WaterfallHistory::mostRows);
    EXPECT_EQ(history.rows().front().frames, 1U);
    EXPECT_EQ(history.rows().back().frames, 1U);
}

TEST(WaterfallHistoryTest, IgnoresNothingAndWhatCameBeforeTheStart) {
    WaterfallHistory history;
    history.add(0, {});
    history.add(-256, power(1));
    EXPECT_TRUE(history.rows().empty());
}

} // namespace
