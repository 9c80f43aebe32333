// SPDX-License-Identifier: MIT
#include "tools/hub/web/codec/Adpcm.h"

#include "Signals.h"

#include <gtest/gtest.h>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

std::vector<float> tone(double amplitude, std::size_t samples) {
    std::vector<float> sound(samples);
    for (std::size_t at = 0; at < samples; ++at)
        sound[at] = turn(1000.0 * static_cast<double>(at) / 12000, amplitude).real();
    return sound;
}

TEST(AdpcmTest, ABlockIsFourBitsASampleAndItsState) {
    AdpcmEncoder encoder;
    std::vector<std::uint8_t> block;
    encoder.encode(tone(0.5, 240), block);
    EXPECT_EQ(block.size(), 124U);
    EXPECT_EQ(AdpcmEncoder::bytesOf(241), 125U);
}

TEST(AdpcmTest, WhatComesBackIsWhatWentIn) {
    AdpcmEncoder encoder;
    const std::vector<float> sound = tone(0.5, 12000);
    std::vector<std::int16_t> decoded;
    for (std::size_t at = 0; at < sound.size(); at += 240) {
        std::vector<std::uint8_t> block;
        encoder.encode(std::span(sound).subspan(at, 240), block);
        ASSERT_TRUE(decodeAdpcm(block, 240, decoded));
    }
    double error = 0;
    double power = 0;
    for (std::size_t at = 1000; at < sound.size(); ++at) {
        error += std::pow(decoded[at] / 32767.0 - sound[at], 2);
        power += std::pow(sound[at], 2);
    }
    EXPECT_GT(10 * std::log10(power / error), 25);
}

TEST(AdpcmTest, AnyBlockCanBeTheFirst) {
    AdpcmEncoder encoder;
    std::vector<std::vector<std::uint8_t>> blocks(10);
    const std::vector<float> sound = tone(0.5, 2400);
    std::vector<std::int16_t> all;
    for (std::size_t block = 0; block < blocks.size(); ++block) {
        encoder.encode(std::span(sound).subspan(block * 240, 240), blocks[block]);
        decodeAdpcm(blocks[block], 240, all);
    }
    std::vector<std::int16_t> last;
    decodeAdpcm(blocks.back(), 240, last);
    EXPECT_EQ(last, std::vector<std::int16_t>(all.end() - 240, all.end()));
}

// By hand: step 7, then 7 + 2 of index and so on, as the recommendation's table has it.
TEST(AdpcmTest, CodesAreThoseOfTheTable) {
    const std::vector<std::uint8_t> block{0, 0, 0, 0, 0x47, 0x0F};
    std::vector<std::int16_t> decoded;
    ASSERT_TRUE(decodeAdpcm(block, 4, decoded));
    // Code 7 at step 7: 0 + 7 + 3 + 1; then at step 16: 2 + 16; then code 15 at step 19: -(2 + 19 +
    // 9 + 4); then code 0 at step 41: 5.
    EXPECT_EQ(decoded, (std::vector<std::int16_t>{11, 29, -5, 0}));
}

TEST(AdpcmTest, ABrokenBlockIsRefused) {
    std::vector<std::int16_t> decoded;
    EXPECT_FALSE(decodeAdpcm(std::vector<std::uint8_t>{0, 0, 0, 0, 0}, 3, decoded));
    EXPECT_FALSE(decodeAdpcm(std::vector<std::uint8_t>{0, 0, 89, 0, 0}, 2, decoded));
    EXPECT_FALSE(decodeAdpcm({}, 0, decoded));
    EXPECT_TRUE(decoded.empty());
}

TEST(AdpcmTest, TheLoudestIsCutOffAndNotTurnedAround) {
    AdpcmEncoder encoder;
    std::vector<std::uint8_t> block;
    encoder.encode(std::vector<float>(480, 7.0F), block);
    std::vector<std::int16_t> decoded;
    ASSERT_TRUE(decodeAdpcm(block, 480, decoded));
    EXPECT_GT(decoded.back(), 32000);
    EXPECT_GE(*std::min_element(decoded.begin(), decoded.end()), 0);
}

} // namespace
