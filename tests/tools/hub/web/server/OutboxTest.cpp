// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/Outbox.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::chrono_literals;
using namespace feedline::hub::web;

namespace {

constexpr Outbox::Clock::time_point start{};

Frame frameNumbered(std::uint16_t number) {
    SoundHeader header;
    header.sequence = number;
    return beginSound(header);
}

int numberOf(const std::optional<Outbox::Message>& message) {
    const auto& frame = std::get<Frame>(message.value());
    return frame[2] | frame[3] << 8;
}

TEST(OutboxTest, WordsComeBeforeSoundAndSoundBeforeRows) {
    Outbox outbox;
    outbox.addRow(frameNumbered(1), start);
    outbox.addSound(frameNumbered(2), start);
    outbox.addWords("words");
    EXPECT_EQ(std::get<std::string>(outbox.next(start).value()), "words");
    EXPECT_EQ(numberOf(outbox.next(start)), 2);
    EXPECT_EQ(numberOf(outbox.next(start)), 1);
    EXPECT_FALSE(outbox.next(start));
}

TEST(OutboxTest, OnlyTheNewestRowWaits) {
    Outbox outbox;
    for (const std::uint16_t number : {1, 2, 3})
        outbox.addRow(frameNumbered(number), start);
    EXPECT_EQ(numberOf(outbox.next(start)), 3);
    EXPECT_FALSE(outbox.next(start));
    EXPECT_EQ(outbox.dropped(), 2U);
}

TEST(OutboxTest, OnlyTheNewestSoundWaits) {
    Outbox outbox;
    for (std::uint16_t number = 0; number < Outbox::soundFrames + 5; ++number)
        outbox.addSound(frameNumbered(number), start);
    EXPECT_EQ(outbox.dropped(), 5U);
    for (int number = 5; number < static_cast<int>(Outbox::soundFrames) + 5; ++number)
        EXPECT_EQ(numberOf(outbox.next(start)), number);
}

TEST(OutboxTest, AFrameIsAsOldAsItIsWhenItLeaves) {
    Outbox outbox;
    outbox.addSound(frameNumbered(1), start);
    const auto message = outbox.next(start + 70ms);
    EXPECT_EQ(std::get<Frame>(message.value())[6], 70);
}

TEST(OutboxTest, ForgottenFramesAreNotLosses) {
    Outbox outbox;
    outbox.addSound(frameNumbered(1), start);
    outbox.addRow(frameNumbered(2), start);
    outbox.addWords("words");
    outbox.forgetFrames();
    EXPECT_TRUE(outbox.next(start));
    EXPECT_FALSE(outbox.next(start));
    EXPECT_EQ(outbox.dropped(), 0U);
}

TEST(OutboxTest, WhoTakesNoWordsIsHopeless) {
    Outbox outbox;
    for (std::size_t words = 0; words < Outbox::mostWords; ++words)
        outbox.addWords("words");
    EXPECT_FALSE(outbox.hopeless());
    outbox.addWords("words");
    EXPECT_TRUE(outbox.hopeless());
}

} // namespace
