// SPDX-License-Identifier: MIT
#include "emulator/signals/Kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace feedline::emulator;

namespace {

constexpr double turn = 2 * std::numbers::pi;

Block& emptyBlock() {
    static Block block;
    block = {};
    return block;
}

} // namespace

TEST(Kernels, PhasesBecomeCosineAndSineToBeyondSixteenBits) {
    Block& block = emptyBlock();
    alignas(64) std::array<std::uint32_t, blockSize> phases{};
    for (std::size_t i = 0; i < blockSize; ++i)
        phases[i] = static_cast<std::uint32_t>(i * 4194305U);
    kernels().phases(block.re.data(), block.im.data(), phases.data(), 0.5F, blockSize);
    for (std::size_t i = 0; i < blockSize; ++i) {
        const double angle = turn * phases[i] / 4294967296.0;
        EXPECT_NEAR(block.re[i], 0.5 * std::cos(angle), 1.2e-5) << i;
        EXPECT_NEAR(block.im[i], 0.5 * std::sin(angle), 1.2e-5) << i;
    }
}

TEST(Kernels, APhasorTurnsEvenly) {
    Block& block = emptyBlock();
    const double step = turn * 0.0123;
    Phasor phasor{};
    for (std::size_t i = 0; i < lanes; ++i) {
        phasor.re[i] = static_cast<float>(std::cos(step * static_cast<double>(i)));
        phasor.im[i] = static_cast<float>(std::sin(step * static_cast<double>(i)));
    }
    phasor.turnRe = static_cast<float>(std::cos(step * lanes));
    phasor.turnIm = static_cast<float>(std::sin(step * lanes));
    kernels().carrier(block.re.data(), block.im.data(), phasor, blockSize);
    for (std::size_t i = 0; i < blockSize; ++i)
        EXPECT_NEAR(block.im[i], std::sin(step * static_cast<double>(i)), 1e-5) << i;
}

TEST(Kernels, PairsHaveTheImaginaryPartFirstAndAreCutOff) {
    Block& block = emptyBlock();
    block.re[0] = 0.5F;
    block.im[0] = -0.25F;
    block.re[1] = 3;
    block.im[1] = -3;
    std::array<std::int16_t, 2 * blockSize> out{};
    kernels().pairs(out.data(), block, 1, lanes);
    EXPECT_EQ(out[0], -8192);
    EXPECT_EQ(out[1], 16384);
    EXPECT_EQ(out[2], -32768);
    EXPECT_EQ(out[3], 32767);
    EXPECT_EQ(out[4], 0);
}

TEST(Kernels, SamplesAreUnsignedTwelveBits) {
    Block& block = emptyBlock();
    block.re[1] = 0.5F;
    block.re[2] = -9;
    block.re[3] = 9;
    std::array<std::uint16_t, blockSize> out{};
    kernels().samples(out.data(), block, 1, lanes);
    EXPECT_EQ(out[0], 2048);
    EXPECT_EQ(out[1], 2048 + 1024);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(out[3], 4095);
}
