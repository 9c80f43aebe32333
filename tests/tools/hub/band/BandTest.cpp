// SPDX-License-Identifier: MIT
#include "tools/hub/band/Band.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace feedline::hub {
namespace {

std::vector<std::int16_t> pairs(std::size_t count) {
    std::vector<std::int16_t> samples(2 * count);
    std::iota(samples.begin(), samples.end(), std::int16_t{0});
    return samples;
}

class BandTest : public testing::Test {
protected:
    BandTest() {
        band.setFrequency(7100000);
        band.setRate(768000);
    }
    void write(std::size_t count) { band.write(pairs(count), Clock::now()); }
    BlockPointer next() { return band.blocks().take(reader); }

    Band band;
    std::uint64_t reader = 0;
};

TEST_F(BandTest, GivesOutBlocksOfTwoMilliseconds) {
    for (int datagram = 0; datagram < 5; ++datagram)
        write(256);
    EXPECT_EQ(next(), nullptr);
    write(256);
    const BlockPointer block = next();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->pairs(), 1536U);
    EXPECT_EQ(block->position, 0);
    EXPECT_EQ(block->frequency, 7100000U);
    EXPECT_EQ(block->rate, 768000U);
    EXPECT_TRUE(block->fresh);
}

TEST_F(BandTest, TellsWhatIsMissingBeforeABlock) {
    write(256);
    band.lose(512);
    write(1536);
    EXPECT_EQ(next()->pairs(), 256U);
    const BlockPointer after = next();
    EXPECT_EQ(after->lost, 512U);
    EXPECT_EQ(after->position, 768);
    EXPECT_FALSE(after->fresh);
}

TEST_F(BandTest, NeverMixesTwoFrequenciesInABlock) {
    write(256);
    band.setFrequency(7200000);
    write(1536);
    EXPECT_EQ(next()->frequency, 7100000U);
    const BlockPointer after = next();
    EXPECT_EQ(after->frequency, 7200000U);
    EXPECT_FALSE(after->fresh);
}

TEST_F(BandTest, BeginsAnewWithAnotherRateAndWithARestart) {
    write(1536);
    band.setRate(912000);
    write(2048);
    band.restart();
    write(2048);
    next();
    EXPECT_TRUE(next()->fresh);
    EXPECT_TRUE(next()->fresh);
}

TEST_F(BandTest, MakesTheTransformOnlyWhileItIsUsed) {
    write(30720);
    std::uint64_t reader = 0;
    band.settle();
    EXPECT_EQ(band.spectra().take(reader), nullptr);
    {
        const Band::TransformUse use(band);
        for (int at = 0; at < 11; ++at)
            write(1536);
        band.settle();
        const SpectrumPointer spectrum = band.spectra().take(reader);
        ASSERT_NE(spectrum, nullptr);
        EXPECT_EQ(spectrum->position, 30720);
        EXPECT_EQ(spectrum->bins.size(), 19200U);
    }
    for (int at = 0; at < 11; ++at)
        write(1536);
    band.settle();
    EXPECT_EQ(band.spectra().take(reader), nullptr);
}

TEST_F(BandTest, SaysWhatIsNew) {
    std::atomic<int> blocks{0};
    std::atomic<int> spectra{0};
    band.onWritten([&](bool newBlocks, bool newSpectrum) {
        blocks += newBlocks ? 1 : 0;
        spectra += newSpectrum ? 1 : 0;
    });
    const Band::TransformUse use(band);
    for (int at = 0; at < 20; ++at)
        write(1536);
    band.settle();
    EXPECT_EQ(blocks, 20);
    EXPECT_EQ(spectra, 2);
}

} // namespace
} // namespace feedline::hub
