// SPDX-License-Identifier: MIT
#include "emulator/receivers/Packing.h"

#include <gtest/gtest.h>

#include <array>

using namespace feedline::emulator;

TEST(Packing, WordsHaveTheirLowByteFirst) {
    std::array<std::uint8_t, 6> bytes{};
    const std::array<std::uint16_t, 2> words{0x1234, 0xFFFE};
    storeWords(words.data(), words.size(), bytes.data());
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 6>{0x34, 0x12, 0xFE, 0xFF, 0, 0}));
    const std::array<std::int16_t, 1> negative{-2};
    storeWords(negative.data(), negative.size(), bytes.data() + 4);
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 6>{0x34, 0x12, 0xFE, 0xFF, 0xFE, 0xFF}));
}

TEST(Packing, EightSamplesFillThreeWords) {
    const std::array<std::uint16_t, 8> samples{0x123, 0x456, 0x789, 0xABC,
                                               0xDEF, 0x321, 0x654, 0x987};
    std::array<std::uint8_t, 12> bytes{};
    packSamples(samples.data(), samples.size(), bytes.data());
    // Words 12345678, 9ABCDEF3, 21654987, low byte first.
    const std::array<std::uint8_t, 12> expected{0x78, 0x56, 0x34, 0x12, 0xF3, 0xDE,
                                                0xBC, 0x9A, 0x87, 0x49, 0x65, 0x21};
    EXPECT_EQ(bytes, expected);
}
