// SPDX-License-Identifier: MIT
#include "tools/hub/band/Cutter.h"

#include "Tone.h"
#include "tools/hub/band/Rates.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace feedline::hub {
namespace {

using test::decibels;
using test::fitTone;
using test::peak;
using test::turned;

using Samples = std::vector<std::complex<float>>;

constexpr std::uint32_t centre = 7100000;

// The transforms of one tone of amplitude 1, `away` Hz from the received centre, before any
// rounding to 16 bits.
class ToneBand {
public:
    ToneBand(std::uint32_t rate, std::int64_t away)
        : rate_(rate), away_(away), input_(rate / transformsPerSecond),
          transform_(input_.size(), Transform::Direction::forward) {
        spectrum_.frequency = centre;
        spectrum_.rate = rate;
        spectrum_.fresh = true;
        spectrum_.bins.resize(input_.size());
    }

    const Spectrum& next() {
        const std::int64_t overlap = rate_ / rateStep;
        for (std::size_t n = 0; n < input_.size(); ++n)
            input_[n] = std::complex<float>(
                turned(away_, position_ - overlap + static_cast<std::int64_t>(n), rate_));
        transform_.run(input_, spectrum_.bins);
        spectrum_.position = position_;
        spectrum_.fresh = position_ == 0;
        position_ += rate_ / hopsPerSecond;
        return spectrum_;
    }

private:
    std::uint32_t rate_;
    std::int64_t away_;
    std::int64_t position_ = 0;
    Samples input_;
    Transform transform_;
    Spectrum spectrum_;
};

struct Case {
    std::uint32_t received;
    std::uint32_t rate;
    std::int64_t offset; ///< of the channel from the received centre, Hz
};

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    const Case& c = info.param;
    return std::to_string(c.received) + "_" + std::to_string(c.rate) + "_" +
           (c.offset < 0 ? "below" : "above") + std::to_string(std::abs(c.offset));
}

Samples cut(const Case& c, std::int64_t toneInChannel, int hops = 5) {
    ToneBand band(c.received, c.offset + toneInChannel);
    Cutter cutter;
    Samples samples;
    for (int hop = 0; hop < hops; ++hop) {
        const auto part = cutter.cut(
            band.next(), static_cast<std::uint32_t>(std::int64_t{centre} + c.offset), c.rate);
        EXPECT_EQ(part.size(), c.rate / hopsPerSecond);
        samples.insert(samples.end(), part.begin(), part.end());
    }
    return samples;
}

// The tones' frequencies reach over `part` of the channel's width, and are no multiples of
// anything.
std::vector<std::int64_t> tonesOver(double part, std::uint32_t rate) {
    std::vector<std::int64_t> tones;
    const double reach = part / 2 * rate;
    for (int step = -6; step <= 6; ++step)
        tones.push_back(static_cast<std::int64_t>(reach * step / 6.0));
    return tones;
}

double flatPart(std::uint32_t rate) {
    return rate < 16000 ? 0.7 : 0.8;
}

class CutterRates : public testing::TestWithParam<Case> {};

// One tone is laid through five hops: a step in its phase or level where two of them meet, or a
// spurious line anywhere, would be a difference from it.
TEST_P(CutterRates, KeepsATonesLevelAndPhaseAcrossHopsAndAddsNothing) {
    const Case c = GetParam();
    double least = 1;
    double greatest = 1;
    for (const std::int64_t tone : tonesOver(flatPart(c.rate), c.rate)) {
        const auto fit = fitTone(cut(c, tone), tone, c.rate);
        const double level = std::abs(fit.amplitude);
        least = std::min(least, level);
        greatest = std::max(greatest, level);
        EXPECT_LT(decibels(fit.worst), -100) << tone;
    }
    EXPECT_LE(decibels(greatest) - decibels(least), 0.1);
    EXPECT_NEAR(decibels(greatest), 0, 0.1);
}

// Where a tone outside the channel may show at all: at 8,000 in the outer 15 % on each side.
TEST_P(CutterRates, LetsNothingInFromOutside) {
    const Case c = GetParam();
    const auto half = static_cast<std::int64_t>(c.rate / 2);
    const std::int64_t edge =
        c.rate < 10600 ? half + static_cast<std::int64_t>(0.15 * c.rate) : half;
    const auto band = static_cast<std::int64_t>(c.received / 2);
    for (const double beyond : {0.0, 0.02, 0.1, 0.37, 0.5, 0.731, 1.0, 1.5, 2.0, 3.3})
        for (const int side : {-1, 1}) {
            const auto tone = side * (edge + static_cast<std::int64_t>(beyond * c.rate) + 1);
            if (std::abs(c.offset + tone) >= band)
                continue;
            EXPECT_LT(decibels(peak(cut(c, tone, 3))), -100) << tone;
        }
}

INSTANTIATE_TEST_SUITE_P(Band, CutterRates,
                         testing::Values(Case{768000, 8000, 0}, Case{768000, 8000, 123457},
                                         Case{768000, 9600, -200013}, Case{768000, 10400, 40},
                                         Case{768000, 10600, 77}, Case{768000, 12000, -1},
                                         Case{768000, 16000, 301111}, Case{768000, 48000, 0},
                                         Case{768000, 48000, -250001}, Case{768000, 48000, 20},
                                         Case{768000, 192000, 100019}, Case{768000, 250000, 33333},
                                         Case{768000, 299800, -7}, // 1499 is a prime
                                         Case{912000, 48000, 300007}, Case{96000, 48000, -11111},
                                         Case{48000, 12000, 5001}, Case{2500000, 48000, -1100003},
                                         Case{2500000, 1024000, 12345}, Case{3000000, 200000, 999},
                                         Case{6000000, 48000, 2000001},
                                         Case{10000000, 48000, -4000001}),
                         nameOf);

// More than is received: the channel holds the whole band, and nothing beside it.
TEST(Cutter, GivesAWiderChannelThanIsReceived) {
    const Case c{768000, 2400000, 0};
    for (const std::int64_t tone : {-380000, -12345, 0, 1, 300003, 380000}) {
        const auto fit = fitTone(cut(c, tone), tone, c.rate);
        EXPECT_NEAR(decibels(std::abs(fit.amplitude)), 0, 0.1) << tone;
        EXPECT_LT(decibels(fit.worst), -100) << tone;
    }
}

// Half of the channel lies outside the band: what the band has near its other end must not show.
TEST(Cutter, HoldsNothingBeyondTheBandsEnd) {
    const Case c{768000, 48000, 384000};
    EXPECT_NEAR(decibels(std::abs(fitTone(cut(c, -10007), -10007, c.rate).amplitude)), 0, 0.1);
    for (const std::int64_t tone : {-767999, -767000, -760000, -750000})
        EXPECT_LT(decibels(peak(cut(c, tone))), -100) << tone;
}

TEST(Cutter, GivesSilenceWhereTheChannelAndTheBandDoNotMeet) {
    const Case c{768000, 48000, 500000};
    EXPECT_LT(decibels(peak(cut(c, -500000))), -120);
}

// The phase advances by the old frequency up to where the hops meet, and by the new one from there.
TEST(Cutter, ContinuesThePhaseWhenItsFrequencyChanges) {
    ToneBand band(768000, 10000);
    Cutter cutter;
    constexpr std::uint32_t rate = 48000;
    Samples samples;
    for (const std::uint32_t offset : {9000U, 9000U, 9000U, 9017U, 8000U, 8000U, 12345U}) {
        const auto part = cutter.cut(band.next(), centre + offset, rate);
        if (!samples.empty()) {
            const double step = std::arg(part[0] * std::conj(samples.back()));
            const double own = std::arg(part[1] * std::conj(part[0]));
            const double before = std::arg(samples.back() * std::conj(*(samples.end() - 2)));
            EXPECT_GE(step, std::min(own, before) - 1e-4) << offset;
            EXPECT_LE(step, std::max(own, before) + 1e-4) << offset;
        }
        samples.assign(part.begin(), part.end());
    }
}

// Positions leap when the stream has lost pairs: the oscillator has gone on meanwhile.
TEST(Cutter, KeepsTheOscillatorRunningOverAGap) {
    ToneBand band(768000, 100);
    Cutter cutter;
    constexpr std::uint32_t rate = 8000;
    const auto first = cutter.cut(band.next(), centre + 77, rate);
    const std::complex<float> before = first.front();
    for (int hop = 0; hop < 7; ++hop)
        band.next();
    const auto later = cutter.cut(band.next(), centre + 77, rate);
    const auto expected = turned(23, 8 * rate / hopsPerSecond, rate);
    EXPECT_NEAR(std::abs(std::complex<double>(later.front() * std::conj(before)) - expected), 0,
                1e-4);
}

} // namespace
} // namespace feedline::hub
