// SPDX-License-Identifier: MIT
#include "emulator/signals/Recording.h"

#include "Spectrum.h"
#include "TemporaryFolder.h"
#include "emulator/receivers/Feed.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <fstream>

using namespace feedline::emulator;
using feedline::test::levelAt;
using feedline::test::Samples;
using feedline::test::TemporaryFolder;

namespace {

constexpr double rate = 768000;

/// A carrier at rate/16 above the middle, in whole cycles.
Pairs carrier(std::size_t count) {
    Pairs pairs;
    for (std::size_t i = 0; i < count; ++i) {
        const auto z = std::polar(16384.0, 2 * std::numbers::pi * static_cast<double>(i) / 16);
        pairs.push_back(static_cast<std::int16_t>(std::lround(z.real())));
        pairs.push_back(static_cast<std::int16_t>(std::lround(z.imag())));
    }
    return pairs;
}

Samples played(const Pairs& pairs, View view) {
    Recording recording(pairs, view.real);
    Samples samples;
    auto block = std::make_unique<Block>();
    for (std::uint64_t position = 0; position < 16 * blockSize; position += blockSize) {
        recording.generate(view, position, blockSize, *block);
        for (std::size_t i = 0; i < blockSize; ++i)
            samples.emplace_back(block->re[i], view.real ? 0 : block->im[i]);
    }
    return samples;
}

} // namespace

TEST(Recording, RawPairsAreLittleEndianAndRealFirst) {
    const TemporaryFolder folder;
    const std::string path = folder.file("pairs.raw");
    std::ofstream(path, std::ios::binary) << std::string("\x01\x02\xFF\xFF\x00\x80\x05\x00\x77", 9);
    EXPECT_EQ(readRecording(path), (Pairs{0x0201, -1, -32768, 5}));
}

TEST(Recording, AWaveFileHasTwoChannels) {
    const TemporaryFolder folder;
    const std::string path = folder.file("wave.wav");
    for (int channels : {1, 2}) {
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = channels;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
        ASSERT_NE(file, nullptr);
        const std::int16_t values[] = {1, -2, 3, -4};
        sf_write_short(file, values, 4);
        sf_close(file);
        if (channels == 2)
            EXPECT_EQ(readRecording(path), (Pairs{1, -2, 3, -4}));
        else
            EXPECT_THROW(readRecording(path), std::runtime_error);
    }
}

TEST(Recording, WhatCannotBePlayedIsRefused) {
    EXPECT_THROW(readRecording("/nowhere/at/all.raw"), std::runtime_error);
    EXPECT_THROW(readRecording("/nowhere/at/all.wav"), std::runtime_error);
    EXPECT_THROW(readRecording("/dev/null"), std::runtime_error);
}

TEST(Recording, LoopsWithoutASeam) {
    const Samples samples = played(carrier(400), {.centre = 1e6, .rate = rate});
    EXPECT_NEAR(levelAt(samples, rate / 16, rate), -6, 0.1);
    for (double offset : {-30e3, -10e3, 10e3, 30e3})
        EXPECT_LT(levelAt(samples, rate / 16 + offset, rate), -80) << offset;
}

TEST(Recording, TheLibrarysShiftIsMetInAdvance) {
    const Samples samples = played(carrier(768), {.centre = 1e6, .rate = rate, .shift = 5000});
    EXPECT_NEAR(levelAt(samples, rate / 16 - 5000, rate), -6, 0.1);
    EXPECT_LT(levelAt(samples, rate / 16, rate), -80);
}

TEST(Recording, BecomesARealStreamUpsideDown) {
    for (std::size_t count : {400U, 401U * 16U}) {
        const Samples samples = played(carrier(count), {.centre = 1e8, .rate = 5e6, .real = true});
        EXPECT_NEAR(levelAt(samples, 5e6 / 4 - 2.5e6 / 16, 5e6), -12, 0.1);
        EXPECT_LT(levelAt(samples, 5e6 / 4 + 2.5e6 / 16, 5e6), -60);
    }
}
