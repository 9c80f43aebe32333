// SPDX-License-Identifier: MIT
#include "emulator/receivers/Feed.h"

#include "Spectrum.h"
#include "emulator/signals/Band.h"

#include <gtest/gtest.h>

using namespace feedline::emulator;
using feedline::test::levelAt;
using feedline::test::Samples;

namespace {

constexpr double rate = 768000;

StreamSettings pairsAround(double centre) {
    StreamSettings settings;
    settings.view = {.centre = centre, .rate = rate};
    return settings;
}

StreamSettings samplesAround(double centre, Format format = Format::samples) {
    StreamSettings settings;
    settings.view = {.centre = centre, .rate = 5e6, .real = true};
    settings.format = format;
    return settings;
}

std::vector<std::uint8_t> bytesOf(std::string_view scene, const StreamSettings& settings,
                                  std::size_t size, std::uint64_t position = 0) {
    Band band(parseScene(scene));
    Feed feed(band);
    std::vector<std::uint8_t> bytes(size);
    feed.fill(settings, position, bytes.data(), bytes.size());
    return bytes;
}

int signed16(const std::uint8_t* at) {
    return static_cast<std::int16_t>(at[0] | at[1] << 8);
}

Samples pairsIn(const std::vector<std::uint8_t>& bytes) {
    Samples samples;
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4)
        samples.emplace_back(signed16(&bytes[i + 2]) / 32768.0, signed16(&bytes[i]) / 32768.0);
    return samples;
}

Samples realIn(const std::vector<std::uint8_t>& bytes) {
    Samples samples;
    for (std::size_t i = 0; i + 2 <= bytes.size(); i += 2)
        samples.emplace_back((signed16(&bytes[i]) - 2048) / 2048.0, 0);
    return samples;
}

Samples heard(std::string_view scene, double centre) {
    return pairsIn(bytesOf(scene, pairsAround(centre), 65536));
}

} // namespace

TEST(Feed, ACarrierIsWhereItsFrequencySaysAndOnNoOtherSide) {
    const Samples samples = heard("carrier 7.15M -20\nnoise -180", 7.1e6);
    EXPECT_NEAR(levelAt(samples, 50e3, rate), -20, 0.1);
    EXPECT_LT(levelAt(samples, -50e3, rate), -100);
    EXPECT_LT(levelAt(samples, 0, rate), -100);
}

TEST(Feed, TuningMovesACarrierThroughTheBandAndOutOfIt) {
    EXPECT_NEAR(levelAt(heard("carrier 7.15M -20\nnoise -180", 7.25e6), -100e3, rate), -20, 0.1);
    const Samples away = heard("carrier 7.15M -20\nnoise -180", 7.15e6 - rate / 2 - 1000);
    EXPECT_LT(levelAt(away, rate / 2 - 1000, rate), -100);
    EXPECT_LT(levelAt(away, -rate / 2 + 1000, rate), -100);
}

TEST(Feed, AmHasTwoSidebands) {
    const Samples samples = heard("am 7.2M -20 tone=6000 depth=50\nnoise -180", 7.1e6);
    EXPECT_NEAR(levelAt(samples, 100e3, rate), -20, 0.2);
    EXPECT_NEAR(levelAt(samples, 106e3, rate), -32, 0.5);
    EXPECT_NEAR(levelAt(samples, 94e3, rate), -32, 0.5);
}

TEST(Feed, ACwStationFollowsItsKey) {
    // One dot of E lasts 60 ms at 20 words a minute and begins the message.
    const auto on = pairsIn(bytesOf("cw 7.1M -20 text=E wpm=20\nnoise -180", pairsAround(7.1e6),
                                    16384, static_cast<std::uint64_t>(0.03 * rate)));
    const auto off = pairsIn(bytesOf("cw 7.1M -20 text=E wpm=20\nnoise -180", pairsAround(7.1e6),
                                     16384, static_cast<std::uint64_t>(0.1 * rate)));
    EXPECT_NEAR(levelAt(on, 0, rate), -20, 0.2);
    EXPECT_LT(levelAt(off, 0, rate), -100);
}

TEST(Feed, NoiseHasItsDensity) {
    const Samples samples = pairsIn(bytesOf("noise -100", pairsAround(7e6), 1 << 20));
    double power = 0;
    for (const auto& sample : samples)
        power += std::norm(sample);
    power /= static_cast<double>(samples.size());
    EXPECT_NEAR(10 * std::log10(power), -100 + 10 * std::log10(rate), 0.2);
}

TEST(Feed, BlocksJoinWithoutASeam) {
    constexpr std::string_view scene = "carrier 7.15M -20\nam 7.2M -30\nfm 7.0M -30\nnoise -180";
    const auto whole = bytesOf(scene, pairsAround(7.1e6), 16384, 5000);
    const auto second = bytesOf(scene, pairsAround(7.1e6), 8192, 5000 + 2048);
    const Samples one = pairsIn(whole);
    const Samples other = pairsIn(second);
    for (std::size_t i = 0; i < other.size(); ++i)
        ASSERT_LT(std::abs(one[2048 + i] - other[i]), 2e-4) << i;
}

TEST(Feed, ARealStreamIsUpsideDownAroundAQuarterOfItsRate) {
    const Samples samples =
        realIn(bytesOf("carrier 100.3M -20\nnoise -180", samplesAround(100e6), 65536));
    EXPECT_NEAR(levelAt(samples, 5e6 / 4 - 300e3, 5e6), -26, 0.2); // the half of a real carrier
    EXPECT_LT(levelAt(samples, 5e6 / 4 + 300e3, 5e6), -80);
}

TEST(Feed, PackedSamplesAreTheSameSamples) {
    constexpr std::string_view scene = "fm 100M -20 stereo rds\nnoise -120";
    const auto plain = bytesOf(scene, samplesAround(100e6), 4096);
    const auto packed = bytesOf(scene, samplesAround(100e6, Format::packed), 3072);
    for (std::size_t i = 0; i < 256; ++i) {
        const std::uint8_t* group = &packed[12 * i];
        const int first = (group[3] << 4) | (group[2] >> 4); // bits 31-20 of the first word
        EXPECT_EQ(first, signed16(&plain[16 * i])) << i;
    }
}

TEST(Feed, AnFmStationKeepsItsAmplitudeAndItsBand) {
    Samples samples = heard("fm 100M -20 stereo rds\nnoise -180", 100e6);
    for (const auto& sample : samples)
        ASSERT_NEAR(std::abs(sample), 0.1, 1e-3);
    EXPECT_LT(levelAt(samples, 250e3, rate), -80);
}

TEST(Feed, TheStereoStationHasItsPilot) {
    Samples samples = heard("fm 100M -20 stereo\nnoise -180", 100e6);
    Samples sound;
    for (std::size_t i = 1; i < samples.size(); ++i)
        sound.emplace_back(
            std::arg(samples[i] * std::conj(samples[i - 1])) * rate / (2 * std::numbers::pi), 0);
    // A tenth of the deviation of 75 kHz, half of it on either side of a real spectrum.
    EXPECT_NEAR(levelAt(sound, 19e3, rate), 20 * std::log10(7500 / 2.0), 0.5);
}

TEST(Feed, LeftOverBytesAreZero) {
    const auto bytes = bytesOf("noise -60", samplesAround(100e6, Format::packed), 12 * 100 + 7);
    for (std::size_t i = 1200; i < bytes.size(); ++i)
        EXPECT_EQ(bytes[i], 0);
}
