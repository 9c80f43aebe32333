// SPDX-License-Identifier: MIT
// What a native client is answered, without a network.
#include "tools/hub/native/Dialogue.h"

#include "tools/hub/native/MessageFramer.h"

#include <gtest/gtest.h>

namespace feedline::hub {
namespace {

using Bytes = Dialogue::Bytes;

struct Told final : Subject {
    std::string targetName() const override { return name; }
    std::string serialNumber() const override { return "123456789"; }
    bool running() const override { return runs; }
    bool run(bool running) override {
        runs = running && mayRun;
        return !running || mayRun;
    }
    void tune(std::uint32_t hertz) override { hears = hertz; }
    std::uint32_t frequency() const override { return hears; }
    std::uint32_t setRate(std::uint32_t pairsASecond) override {
        return pairs = pairsASecond / 200 * 200;
    }
    std::uint32_t rate() const override { return pairs; }

    std::string name = "AirSpy";
    bool runs = false;
    bool mayRun = true;
    std::uint32_t hears = 0;
    std::uint32_t pairs = 0;
};

struct DialogueTest : ::testing::Test {
    Told told;
    Dialogue dialogue{told};
    const Bytes nak{2, 0};
};

TEST_F(DialogueTest, ANakIsNeverAnswered) {
    EXPECT_TRUE(dialogue.answer(Bytes{2, 0}).empty());
    EXPECT_EQ(dialogue.answer(Bytes{2, 0x20}), nak);
}

TEST_F(DialogueTest, WhatNobodyKnowsIsANak) {
    told.name.clear();
    EXPECT_EQ(dialogue.answer(Bytes{4, 0x20, 1, 0}), nak);
    EXPECT_EQ(dialogue.answer(Bytes{4, 0x20, 9, 0}), nak);
    for (const std::uint8_t type : {0x40, 0x60, 0x80, 0xA0, 0xC0, 0xE0})
        EXPECT_EQ(dialogue.answer(Bytes{4, type, 1, 0}), nak);
}

TEST_F(DialogueTest, ASetThatIsTooShortChangesNothing) {
    EXPECT_EQ(dialogue.answer(Bytes{7, 0, 0x18, 0, 0x80, 2, 0}), nak);
    EXPECT_EQ(dialogue.answer(Bytes{9, 0, 0x20, 0, 0, 1, 2, 3, 4}), nak);
    EXPECT_EQ(dialogue.answer(Bytes{8, 0, 0xB8, 0, 0, 1, 2, 3}), nak);
    EXPECT_FALSE(told.runs);
    EXPECT_EQ(told.hears, 0U);
}

TEST_F(DialogueTest, TheSixthByteOfAFrequencyCountsForNothing) {
    EXPECT_EQ(dialogue.answer(Bytes{10, 0, 0x20, 0, 0, 0x40, 0x42, 0x0F, 0, 1}),
              (Bytes{10, 0, 0x20, 0, 0, 0x40, 0x42, 0x0F, 0, 0}));
    EXPECT_EQ(told.hears, 1000000U);
}

TEST_F(DialogueTest, TheStateIsReadBackAsItWasSet) {
    dialogue.answer(Bytes{8, 0, 0x18, 0, 0x80, 2, 0x11, 0x22});
    EXPECT_EQ(dialogue.answer(Bytes{4, 0x20, 0x18, 0}),
              (Bytes{8, 0, 0x18, 0, 0x80, 2, 0x11, 0x22}));
    EXPECT_EQ(dialogue.answer(Bytes{4, 0x20, 5, 0}), (Bytes{5, 0, 5, 0, 12}));
}

TEST_F(DialogueTest, ARunThatCannotBeIsANak) {
    told.mayRun = false;
    EXPECT_EQ(dialogue.answer(Bytes{8, 0, 0x18, 0, 0x80, 2, 0, 0}), nak);
    EXPECT_EQ(dialogue.answer(Bytes{4, 0x20, 0x18, 0}), (Bytes{8, 0, 0x18, 0, 0x80, 1, 0, 0}));
}

TEST(MessageFramer, CutsAnyChunksIntoTheSameMessages) {
    const Bytes stream{5, 0, 5, 0, 12, 2, 0, 4, 0x20, 1, 0};
    for (std::size_t chunk = 1; chunk <= stream.size(); ++chunk) {
        std::vector<Bytes> messages;
        MessageFramer framer([&](std::span<const std::uint8_t> message) {
            messages.emplace_back(message.begin(), message.end());
            return true;
        });
        for (std::size_t at = 0; at < stream.size(); at += chunk)
            ASSERT_EQ(
                framer.add(std::span(stream).subspan(at, std::min(chunk, stream.size() - at))), "");
        EXPECT_EQ(messages, (std::vector<Bytes>{{5, 0, 5, 0, 12}, {2, 0}, {4, 0x20, 1, 0}}));
    }
}

TEST(MessageFramer, SaysWhatIsWrong) {
    const auto wrong = [](const Bytes& bytes) {
        return MessageFramer([](auto) { return true; }).add(bytes);
    };
    EXPECT_EQ(wrong({3, 0}), "a message of 3 bytes");
    EXPECT_EQ(wrong({0, 0}), "a message of 0 bytes");
    EXPECT_EQ(wrong({4, 1}), "a message of 260 bytes, more than 255");
    EXPECT_EQ(wrong({4, 0xE0}), "");
}

} // namespace
} // namespace feedline::hub
