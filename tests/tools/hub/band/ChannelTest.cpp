// SPDX-License-Identifier: MIT
#include "tools/hub/band/Channel.h"

#include "Tone.h"
#include "tools/hub/band/Band.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace feedline::hub {
namespace {

constexpr std::uint32_t centre = 7100000;
constexpr std::uint32_t received = 768000;
constexpr std::size_t blockPairs = 1536; // 2 ms: each write gives out a block

using Integers = std::vector<std::int16_t>;
using Floats = std::vector<std::complex<float>>;

class ChannelTest : public testing::Test {
protected:
    ChannelTest() {
        band.setFrequency(centre);
        band.setRate(received);
    }

    Integers noise(std::size_t pairs) {
        std::uniform_int_distribution<int> level(-32768, 32767);
        Integers samples(2 * pairs);
        for (std::int16_t& sample : samples)
            sample = static_cast<std::int16_t>(level(random));
        return samples;
    }

    void write(const Integers& samples) { band.write(samples, Clock::now()); }

    // A carrier, `away` Hz from the received centre, of a tenth of the full scale.
    void writeTone(std::int64_t away, int milliseconds) {
        for (int done = 0; done < milliseconds; done += 2) {
            Integers samples;
            for (std::size_t at = 0; at < blockPairs; ++at) {
                const auto pair = 3276.8 * test::turned(away, tonePosition++, received);
                samples.push_back(static_cast<std::int16_t>(std::lround(pair.real())));
                samples.push_back(static_cast<std::int16_t>(std::lround(pair.imag())));
            }
            write(samples);
        }
        band.settle();
    }

    // Everything that waits, and the last reading that had something.
    Floats readAll(Channel& channel) {
        Floats all;
        Floats part(3000);
        for (int empty = 0; empty < 2;) { // A change of ways shows as one empty reading.
            const Reading reading = channel.read(part);
            all.insert(all.end(), part.begin(),
                       part.begin() + static_cast<std::ptrdiff_t>(reading.pairs));
            empty = reading.pairs == 0 ? empty + 1 : 0;
            if (reading.pairs != 0)
                last = reading;
        }
        return all;
    }

    std::mt19937 random{1};
    std::int64_t tonePosition = 0;
    Band band;
    Reading last;
};

TEST_F(ChannelTest, GivesWhatIsReceivedBitForBit) {
    const std::vector<ChannelRequest> asIs{
        {.wholeBand = true}, {}, {.frequency = centre, .rate = received}};
    for (const ChannelRequest& request : asIs) {
        Channel channel(band, request);
        const Integers sent = noise(blockPairs);
        write(sent);
        Integers got(sent.size());
        const Reading reading = channel.read(got);
        EXPECT_EQ(reading.pairs, blockPairs);
        EXPECT_EQ(reading.frequency, centre);
        EXPECT_EQ(reading.rate, received);
        EXPECT_EQ(got, sent);
        EXPECT_TRUE(channel.exact());
    }
}

TEST_F(ChannelTest, GivesTheSameAsFloats) {
    Channel channel(band, {.wholeBand = true});
    const Integers sent = noise(blockPairs);
    write(sent);
    const Floats got = readAll(channel);
    ASSERT_EQ(got.size(), blockPairs);
    for (std::size_t pair = 0; pair < blockPairs; ++pair) {
        EXPECT_EQ(got[pair].real() * 32768.0F, sent[2 * pair]);
        EXPECT_EQ(got[pair].imag() * 32768.0F, sent[2 * pair + 1]);
    }
}

TEST_F(ChannelTest, GivesPartsWhereTheDestinationIsSmall) {
    Channel channel(band, {.wholeBand = true});
    const Integers sent = noise(blockPairs);
    write(sent);
    Integers got;
    Integers part(500);
    while (const std::size_t pairs = channel.read(part).pairs)
        got.insert(got.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(2 * pairs));
    EXPECT_EQ(got, sent);
}

TEST_F(ChannelTest, CountsPositionsWithoutHoles) {
    Channel channel(band, {.wholeBand = true});
    write(noise(blockPairs));
    band.lose(512);
    write(noise(blockPairs));
    Integers part(2 * blockPairs);
    EXPECT_EQ(channel.read(part).position, 0);
    const Reading after = channel.read(part);
    EXPECT_EQ(after.lost, 512U);
    EXPECT_EQ(after.position, static_cast<Position>(blockPairs + 512));
    EXPECT_FALSE(after.fresh);
    EXPECT_EQ(channel.losses().upstream, 512U);
    EXPECT_EQ(channel.losses().own, 0U);
}

TEST_F(ChannelTest, LosesItsOwnSamplesWhenItStaysAway) {
    Channel away(band, {.wholeBand = true});
    Channel there(band, {.wholeBand = true});
    constexpr std::size_t blocks = 1000;
    const Integers samples = noise(blockPairs);
    Integers part(2 * blockPairs);
    write(samples);
    away.read(part);
    for (std::size_t block = 0; block < blocks; ++block) {
        write(samples);
        while (there.read(part).pairs != 0) {
        }
    }
    std::uint64_t heard = 0;
    std::uint64_t lost = 0;
    for (Reading reading = away.read(part); reading.pairs != 0; reading = away.read(part)) {
        heard += reading.pairs;
        lost += reading.lost;
    }
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(heard + lost, blocks * blockPairs);
    EXPECT_EQ(away.losses().own, lost);
    EXPECT_EQ(away.losses().upstream, 0U);
    EXPECT_EQ(there.losses().own, 0U);
}

TEST_F(ChannelTest, CutsAFrequencyAndARateOfItsOwn) {
    Channel channel(band, {.frequency = centre + 100000, .rate = 48000});
    EXPECT_FALSE(channel.exact());
    EXPECT_TRUE(channel.covered());
    writeTone(101000, 200);
    const Floats got = readAll(channel);
    ASSERT_EQ(got.size(), 48000U / 5);
    EXPECT_EQ(last.frequency, centre + 100000);
    EXPECT_EQ(last.rate, 48000U);
    const auto steady = std::span<const std::complex<float>>(got).subspan(960);
    EXPECT_NEAR(std::abs(test::fitTone(steady, 1000, 48000).amplitude), 0.1, 1e-4);
    EXPECT_LT(test::decibels(test::fitTone(steady, 1000, 48000).worst / 0.1), -60);
}

TEST_F(ChannelTest, RoundsItsRateAndSaysSo) {
    Channel channel(band, {.frequency = centre, .rate = 44100});
    EXPECT_EQ(channel.rate(), 44200U);
    channel.request({.frequency = centre, .rate = 1});
    EXPECT_EQ(channel.rate(), 8000U);
    channel.request({.frequency = centre, .rate = 2400000});
    EXPECT_EQ(channel.rate(), 2400000U);
    writeTone(0, 20);
    EXPECT_EQ(readAll(channel).size(), 2400000U / 50);
}

TEST_F(ChannelTest, RoundsSamplesAndHoldsThemWithinSixteenBits) {
    Channel channel(band, {.frequency = centre, .rate = 48000});
    const Integers loudest(2 * blockPairs, 32767);
    for (int block = 0; block < 40; ++block)
        write(loudest);
    band.settle();
    Integers got(8000);
    channel.read(got); // The filter settles.
    const std::size_t pairs = channel.read(got).pairs;
    ASSERT_EQ(pairs, 960U);
    for (std::size_t at = 0; at < 2 * pairs; ++at)
        EXPECT_NEAR(got[at], 32767, 1);
}

TEST_F(ChannelTest, IsSilentOutsideTheBandAndComesBackWithIt) {
    Channel channel(band, {.frequency = centre + 1000000, .rate = 48000});
    EXPECT_FALSE(channel.covered());
    writeTone(0, 100);
    const Floats silence = readAll(channel);
    EXPECT_EQ(silence.size(), 4800U) << "silence takes its time";
    EXPECT_TRUE(last.silent);
    EXPECT_EQ(test::peak(silence), 0);
    band.setFrequency(centre + 1000000);
    EXPECT_TRUE(channel.covered());
    writeTone(1000, 100);
    readAll(channel);
    EXPECT_FALSE(last.silent);
    EXPECT_EQ(last.frequency, centre + 1000000);
}

TEST_F(ChannelTest, FollowsItsRequest) {
    Channel channel(band, {.wholeBand = true});
    writeTone(5000, 4);
    EXPECT_EQ(readAll(channel).size(), 2 * blockPairs);
    channel.request({.frequency = centre + 5000, .rate = 12000});
    writeTone(5000, 4);
    readAll(channel); // notices
    writeTone(5000, 100);
    EXPECT_GT(readAll(channel).size(), 900U);
    EXPECT_EQ(last.rate, 12000U);
    channel.request({.wholeBand = true});
    writeTone(5000, 40);
    readAll(channel);
    writeTone(5000, 40);
    readAll(channel);
    EXPECT_EQ(last.rate, received);
    EXPECT_EQ(last.frequency, centre);
}

TEST_F(ChannelTest, TellsWhenWhatComesDoesNotContinueWhatCame) {
    Channel channel(band, {.wholeBand = true});
    Integers part(2 * blockPairs);
    write(noise(blockPairs));
    EXPECT_TRUE(channel.read(part).fresh);
    write(noise(blockPairs));
    EXPECT_FALSE(channel.read(part).fresh);
    band.restart();
    write(noise(blockPairs));
    EXPECT_TRUE(channel.read(part).fresh);
}

TEST_F(ChannelTest, StaysWithTheReceiverWhenItHasNoWishes) {
    Channel channel(band, {});
    band.setFrequency(14000000);
    band.setRate(912000);
    Integers part(4096);
    write(noise(2048));
    const Reading reading = channel.read(part);
    EXPECT_EQ(reading.frequency, 14000000U);
    EXPECT_EQ(reading.rate, 912000U);
    EXPECT_TRUE(channel.exact());
}

TEST_F(ChannelTest, CountsTheZerosOfAShortGapAsLost) {
    Channel channel(band, {.frequency = centre, .rate = 48000});
    write(noise(blockPairs));
    band.lose(256);
    for (int block = 0; block < 20; ++block)
        write(noise(blockPairs));
    band.settle();
    const std::size_t pairs = readAll(channel).size();
    EXPECT_EQ(pairs, 1920U);
    EXPECT_EQ(channel.losses().upstream, 16U);
}

} // namespace
} // namespace feedline::hub
