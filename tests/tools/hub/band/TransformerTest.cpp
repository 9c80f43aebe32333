// SPDX-License-Identifier: MIT
#include "tools/hub/band/Transformer.h"

#include "Tone.h"

#include <gtest/gtest.h>

#include <vector>

namespace feedline::hub {
namespace {

constexpr std::uint32_t rate = 8000; // 200 pairs a transform, 160 a hop, 40 of overlap

Block block(Position position, std::size_t pairs, std::int16_t value = 16384) {
    Block block;
    block.position = position;
    block.frequency = 7100000;
    block.rate = rate;
    for (std::size_t pair = 0; pair < pairs; ++pair)
        block.samples.insert(block.samples.end(), {value, 0});
    return block;
}

class TransformerTest : public testing::Test {
protected:
    std::vector<SpectrumPointer> spectra;
    Transformer transformer{[this](SpectrumPointer s) {
        spectra.push_back(std::move(s));
    }};

    // The sum of the pairs that a spectrum was made from.
    double sum(std::size_t at) const { return spectra[at]->bins[0].real(); }
};

TEST_F(TransformerTest, TakesEachTwentyMillisecondsWithTheFiveBefore) {
    for (Position position = 0; position < 480; position += 32)
        transformer.take(block(position, 32));
    ASSERT_EQ(spectra.size(), 3U);
    EXPECT_TRUE(spectra[0]->fresh);
    EXPECT_NEAR(sum(0), 80, 1e-3) << "160 new ones, zeros before";
    EXPECT_EQ(spectra[1]->position, 160);
    EXPECT_FALSE(spectra[1]->fresh);
    EXPECT_NEAR(sum(1), 100, 1e-3);
    EXPECT_EQ(spectra[1]->rate, rate);
    EXPECT_EQ(spectra[1]->bins.size(), 200U);
}

TEST_F(TransformerTest, PutsZerosIntoAShortGap) {
    transformer.take(block(0, 100));
    Block late = block(130, 190);
    late.lost = 30;
    transformer.take(late);
    ASSERT_EQ(spectra.size(), 2U);
    EXPECT_EQ(spectra[0]->zeros, 30U);
    EXPECT_NEAR(sum(0), 65, 1e-3);
    EXPECT_EQ(spectra[1]->zeros, 0U);
    EXPECT_EQ(spectra[1]->position, 160);
    EXPECT_EQ(spectra[1]->lost, 0U);
}

TEST_F(TransformerTest, CountsZerosWhereAGapEndsInTheNextHop) {
    transformer.take(block(0, 150));
    Block late = block(200, 120);
    late.lost = 50;
    transformer.take(late);
    ASSERT_EQ(spectra.size(), 2U);
    EXPECT_EQ(spectra[0]->zeros, 10U);
    EXPECT_EQ(spectra[1]->zeros, 40U);
}

TEST_F(TransformerTest, BeginsAnewAfterALongGapAndKeepsWhatWasBefore) {
    transformer.take(block(0, 100));
    Block late = block(1000, 160);
    late.lost = 900;
    transformer.take(late);
    ASSERT_EQ(spectra.size(), 2U);
    EXPECT_EQ(spectra[0]->zeros, 60U);
    EXPECT_EQ(spectra[1]->position, 1000);
    EXPECT_FALSE(spectra[1]->fresh);
    EXPECT_EQ(spectra[1]->lost, 840U) << "what zeros already stand for is not lost twice";
}

TEST_F(TransformerTest, NeverMixesTwoFrequencies) {
    transformer.take(block(0, 100));
    Block moved = block(100, 160);
    moved.frequency = 7200000;
    transformer.take(moved);
    ASSERT_EQ(spectra.size(), 1U);
    EXPECT_EQ(spectra[0]->frequency, 7200000U);
    EXPECT_EQ(spectra[0]->position, 100);
    EXPECT_TRUE(spectra[0]->fresh);
    EXPECT_NEAR(sum(0), 80, 1e-3);
}

TEST_F(TransformerTest, TakesAnotherRate) {
    transformer.take(block(0, 100));
    Block faster = block(100, 320);
    faster.rate = 16000;
    faster.fresh = true;
    transformer.take(faster);
    ASSERT_EQ(spectra.size(), 1U);
    EXPECT_EQ(spectra[0]->bins.size(), 400U);
    EXPECT_NEAR(sum(0), 160, 1e-3);
}

TEST_F(TransformerTest, DoesNotJoinARunToTheOneBefore) {
    transformer.take(block(0, 150));
    Block fresh = block(150, 160);
    fresh.fresh = true;
    transformer.take(fresh);
    ASSERT_EQ(spectra.size(), 1U);
    EXPECT_EQ(spectra[0]->position, 150);
}

} // namespace
} // namespace feedline::hub
