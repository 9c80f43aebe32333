// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Demodulator.h"

#include "Signals.h"

#include <gtest/gtest.h>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

Listening listeningTo(Mode mode) {
    Listening listening;
    listening.mode = mode;
    listening.edges = traits(mode).edges;
    return listening;
}

double channelRate(Mode mode) {
    return traits(mode).channelRate;
}

// In the pieces that a channel gives: 20 ms each.
std::vector<float> soundOf(Demodulator& demodulator, const Pairs& pairs, Mode mode) {
    std::vector<float> sound;
    const auto piece = static_cast<std::size_t>(traits(mode).channelRate / 50);
    for (std::size_t at = 0; at < pairs.size(); at += piece)
        demodulator.add(std::span(pairs).subspan(at, std::min(piece, pairs.size() - at)), sound);
    return sound;
}

std::vector<float> soundOf(const Listening& listening, const Pairs& pairs) {
    Demodulator demodulator(listening);
    return soundOf(demodulator, pairs, listening.mode);
}

TEST(DemodulatorTest, AmGivesTheToneAndHardlyAnythingElse) {
    const Pairs station = amStation(1000, 0.5, -50, 24000, 2);
    const auto sound = soundOf(listeningTo(Mode::am), station);
    ASSERT_EQ(sound.size(), 24000U);
    // Half depth: half the carrier, which the gain control puts at 2/3 of its target (the peaks).
    EXPECT_NEAR(toneLevel(sound, 1000, 12000), 20 * std::log10(0.4 / 3), 0.5);
    EXPECT_LT(toneLevel(sound, 2000, 12000), -55);
    EXPECT_LT(toneLevel(sound, 0, 12000), -50);
}

TEST(DemodulatorTest, UsbHearsWhatIsAboveAndLsbWhatIsBelow) {
    const Pairs both = carrier(1000, -40, 12000, 2) + carrier(-1700, -40, 12000, 2);
    const auto usb = soundOf(listeningTo(Mode::usb), both);
    EXPECT_NEAR(toneLevel(usb, 1000, 12000), 20 * std::log10(0.4), 0.5);
    EXPECT_LT(toneLevel(usb, 1700, 12000), -70);
    const auto lsb = soundOf(listeningTo(Mode::lsb), both);
    EXPECT_NEAR(toneLevel(lsb, 1700, 12000), 20 * std::log10(0.4), 0.5);
    EXPECT_LT(toneLevel(lsb, 1000, 12000), -70);
}

TEST(DemodulatorTest, CwHearsTheCarrierTunedToAtItsPitch) {
    const auto sound = soundOf(listeningTo(Mode::cw), carrier(0, -80, 12000, 2));
    EXPECT_NEAR(toneLevel(sound, cwPitch, 12000), 20 * std::log10(0.4), 0.5);
    const auto beside = soundOf(listeningTo(Mode::cw), carrier(100, -80, 12000, 2));
    EXPECT_NEAR(toneLevel(beside, cwPitch + 100, 12000), 20 * std::log10(0.4), 0.5);
}

TEST(DemodulatorTest, NfmGivesTheTone) {
    const auto sound = soundOf(listeningTo(Mode::nfm), fmStation(1000, 2500, -60, 24000, 1));
    EXPECT_NEAR(toneLevel(sound, 1000, 12000), 20 * std::log10(0.25), 0.5);
    EXPECT_LT(toneLevel(sound, 3000, 12000), -50);
}

TEST(DemodulatorTest, WfmGivesTheToneAndNotThePilot) {
    Pairs station = fmStation(1000, 60e3, -30, 240000, 1);
    const Pairs pilot = fmStation(19000, 7.5e3, 0, 240000, 1);
    for (std::size_t at = 0; at < station.size(); ++at)
        station[at] *= pilot[at];
    const auto sound = soundOf(listeningTo(Mode::wfm), station);
    EXPECT_NEAR(toneLevel(sound, 1000, 48000), 20 * std::log10(0.5 * 60 / 75), 0.6);
    EXPECT_LT(toneLevel(sound, 19000, 48000), -80);
}

TEST(DemodulatorTest, WfmCanBeNarrowed) {
    Listening narrow = listeningTo(Mode::wfm);
    narrow.edges = {-50e3, 50e3};
    const Pairs station = fmStation(1000, 20e3, -50, 240000, 1);
    const auto sound = soundOf(narrow, station + carrier(80e3, -45, 240000, 1));
    EXPECT_NEAR(toneLevel(sound, 1000, 48000), 20 * std::log10(0.5 * 20 / 75), 0.6);
}

TEST(DemodulatorTest, TheMeterShowsThePassBandInDBFS) {
    for (const Mode mode : {Mode::am, Mode::cw, Mode::nfm, Mode::wfm}) {
        Demodulator demodulator(listeningTo(mode));
        const double rate = channelRate(mode);
        soundOf(demodulator, carrier(50, -73, rate, 1) + carrier(rate * 0.4, -20, rate, 1), mode);
        EXPECT_NEAR(demodulator.level(), mode == Mode::wfm ? -20 : -73, 0.1) << traits(mode).name;
    }
}

TEST(DemodulatorTest, EdgesTakeEffectWhileItRuns) {
    Listening listening = listeningTo(Mode::usb);
    Demodulator demodulator(listening);
    const Pairs tone = carrier(2000, -40, 12000, 1);
    EXPECT_GT(toneLevel(soundOf(demodulator, tone, Mode::usb), 2000, 12000), -9);
    listening.edges = {200, 1500};
    demodulator.set(listening);
    EXPECT_LT(toneLevel(soundOf(demodulator, tone, Mode::usb), 2000, 12000), -25);
    EXPECT_LT(demodulator.level(), -109);
}

TEST(DemodulatorTest, TheSquelchSaysThatThereIsSilence) {
    Listening listening = listeningTo(Mode::am);
    listening.squelch = -70;
    Demodulator demodulator(listening);
    std::vector<float> sound;
    EXPECT_FALSE(demodulator.add(amStation(1000, 0.5, -80, 24000, 0.1), sound));
    EXPECT_EQ(sound, std::vector<float>(sound.size()));
    EXPECT_TRUE(demodulator.add(amStation(1000, 0.5, -60, 24000, 0.1), sound));
}

TEST(DemodulatorTest, NothingEverLeavesTheRange) {
    for (const ModeTraits& each : modes) {
        Demodulator demodulator(listeningTo(each.mode));
        Pairs pairs(static_cast<std::size_t>(each.channelRate));
        unsigned seed = 1;
        for (auto& pair : pairs) {
            seed = seed * 1664525U + 1013904223U;
            pair = {static_cast<float>(static_cast<int>(seed >> 16U) - 32768) / 16384.0F,
                    static_cast<float>(static_cast<int>(seed & 0xFFFFU) - 32768) / 16384.0F};
        }
        for (const float sample : soundOf(demodulator, pairs, each.mode))
            ASSERT_LE(std::abs(sample), 1.2F) << each.name;
    }
}

} // namespace
