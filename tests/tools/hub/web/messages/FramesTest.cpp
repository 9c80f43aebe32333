// SPDX-License-Identifier: MIT
#include "tools/hub/web/messages/Frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using namespace feedline::hub::web;

namespace {

// As docs/web.md draws them.
TEST(FramesTest, ASoundFrameBeginsWithTwelveBytes) {
    SoundHeader header;
    header.codec = Codec::opus;
    header.sequence = 0x1234;
    header.level = -73.5;
    header.age = 0.043;
    header.rate = 12000;
    header.samples = 240;
    const Frame expected{1, 2, 0x34, 0x12, 0x21, 0xFD, 43, 0, 120, 0, 240, 0};
    EXPECT_EQ(beginSound(header), expected);
    EXPECT_EQ(expected.size(), SoundHeader::bytes);
}

TEST(FramesTest, ARowIsItsViewAndItsPoints) {
    std::vector<std::uint8_t> levels(2048, 7);
    levels[2047] = 99;
    const LevelRow row({7e6, 2048}, levels, std::vector<float>(2048));
    RowHeader header;
    header.sequence = 0xFFFE;
    header.level = -120;
    header.age = 0.1;
    header.view = {7e6, 2048};
    const Frame frame = makeRow(header, row);
    ASSERT_EQ(frame.size(), RowHeader::bytes + rowPoints);
    const Frame expected{2, 0, 0xFE, 0xFF, 0x50, 0xFB, 100, 0};
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), frame.begin()));
    double low = 0;
    double span = 0;
    std::memcpy(&low, frame.data() + 8, sizeof low);
    std::memcpy(&span, frame.data() + 16, sizeof span);
    EXPECT_EQ(low, 7e6);
    EXPECT_EQ(span, 2048);
    EXPECT_EQ(frame[24], 7);
    EXPECT_EQ(frame.back(), 99);
}

TEST(FramesTest, ARowAndItsFramingTakeLessThanAHundredKilobitsASecond) {
    constexpr std::size_t framing = 4 + 20 + 20 + 12; // WebSocket, IP, TCP with time stamps
    constexpr std::size_t bits = 8;
    EXPECT_LT(10 * bits * (RowHeader::bytes + rowPoints + framing), 100000U);
}

TEST(FramesTest, AgeGrowsByWhatIsAddedUpToItsEnd) {
    Frame frame = beginSound({});
    addAge(frame, 0.3);
    addAge(frame, 0.05);
    EXPECT_EQ(frame[6] | frame[7] << 8, 350);
    addAge(frame, 100);
    EXPECT_EQ(frame[6] | frame[7] << 8, 65535);
}

TEST(FramesTest, LevelsOutOfRangeAreCutOff) {
    SoundHeader header;
    header.level = 1e9;
    const Frame frame = beginSound(header);
    EXPECT_EQ(frame[4] | frame[5] << 8, 30000);
}

} // namespace
