// SPDX-License-Identifier: MIT
#include "emulator/signals/RadioData.h"

#include <gtest/gtest.h>

#include <string>

using namespace feedline::emulator;

namespace {

unsigned take(const std::vector<bool>& bits, std::size_t from, unsigned count) {
    unsigned value = 0;
    for (unsigned i = 0; i < count; ++i)
        value = value << 1 | (bits[from + i] ? 1U : 0U);
    return value;
}

/// What a receiver computes over 26 received bits: the block's offset if none is wrong.
unsigned syndrome(const std::vector<bool>& bits, std::size_t from) {
    unsigned rest = take(bits, from, 26);
    for (int bit = 25; bit >= 10; --bit)
        if ((rest >> bit & 1U) != 0)
            rest ^= 0x5B9U << (bit - 10);
    return rest;
}

} // namespace

TEST(RadioData, EveryBlockPassesItsCheck) {
    const auto bits = stationName("FEEDLINE", 0xC0DE, 5);
    ASSERT_EQ(bits.size(), 5U * bitsPerGroup);
    const unsigned offsets[] = {0x0FC, 0x198, 0x168, 0x1B4};
    for (std::size_t block = 0; block < 20; ++block)
        EXPECT_EQ(syndrome(bits, block * 26), offsets[block % 4]) << block;
}

TEST(RadioData, FourGroupsSpellTheName) {
    const auto bits = stationName("FEEDLINE", 0xC0DE, 4);
    std::string name;
    for (std::size_t group = 0; group < 4; ++group) {
        EXPECT_EQ(take(bits, group * bitsPerGroup, 16), 0xC0DEU);
        EXPECT_EQ(take(bits, group * bitsPerGroup + 26, 16) & 3U, group);
        name += static_cast<char>(take(bits, group * bitsPerGroup + 78, 8));
        name += static_cast<char>(take(bits, group * bitsPerGroup + 86, 8));
    }
    EXPECT_EQ(name, "FEEDLINE");
}

TEST(RadioData, DifferentialCodingJoinsWithItself) {
    EXPECT_EQ(differential({true, false, true, false}),
              (std::vector<bool>{true, true, false, false}));
    EXPECT_FALSE(differential({true, false, false}).back());
}
