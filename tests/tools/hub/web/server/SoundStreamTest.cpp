// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/SoundStream.h"

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

std::vector<Frame> framesOf(SoundStream& stream, const Pairs& pairs, std::size_t piece) {
    std::vector<Frame> frames;
    for (std::size_t at = 0; at < pairs.size(); at += piece)
        stream.add(std::span(pairs).subspan(at, std::min(piece, pairs.size() - at)), 0.03,
                   [&](Frame frame) { frames.push_back(std::move(frame)); });
    return frames;
}

int number16(const Frame& frame, std::size_t at) {
    return frame[at] | frame[at + 1] << 8;
}

TEST(SoundStreamTest, FiftyFramesASecondWhateverThePieces) {
    for (const std::size_t piece : {100U, 480U, 481U, 24000U}) {
        SoundStream stream(listeningTo(Mode::am), Sound::adpcm, 65530);
        const auto frames = framesOf(stream, amStation(1000, 0.5, -40, 24000, 1), piece);
        ASSERT_EQ(frames.size(), 50U);
        for (std::size_t at = 0; at < frames.size(); ++at) {
            EXPECT_EQ(number16(frames[at], 2), static_cast<int>((65530 + at) & 0xFFFF));
            EXPECT_EQ(frames[at].size(), SoundHeader::bytes + AdpcmEncoder::bytesOf(240));
        }
    }
}

TEST(SoundStreamTest, TheFramesHoldTheSound) {
    SoundStream stream(listeningTo(Mode::am), Sound::adpcm, 0);
    std::vector<std::int16_t> samples;
    for (const Frame& frame : framesOf(stream, amStation(1000, 0.5, -40, 24000, 2), 480)) {
        EXPECT_EQ(frame[1], static_cast<int>(Codec::adpcm));
        EXPECT_EQ(number16(frame, 8), 120);
        ASSERT_TRUE(decodeAdpcm(std::span(frame).subspan(SoundHeader::bytes), 240, samples));
    }
    std::vector<float> sound(samples.begin(), samples.end());
    EXPECT_GT(toneLevel(sound, 1000, 12000), 65); // of 90.3 for full scale
    EXPECT_LT(toneLevel(sound, 1700, 12000), 45);
}

TEST(SoundStreamTest, OpusStaysBelowItsLimit) {
    for (const Mode mode : {Mode::usb, Mode::wfm}) {
        SoundStream stream(listeningTo(mode), Sound::opus, 0);
        const double rate = traits(mode).channelRate;
        std::size_t bytes = 0;
        for (const Frame& frame : framesOf(stream, carrier(1000, -40, rate, 1), 240)) {
            EXPECT_EQ(frame[1], static_cast<int>(Codec::opus));
            bytes += frame.size() - SoundHeader::bytes;
        }
        EXPECT_LE(8 * bytes, 40000U) << traits(mode).name;
    }
}

TEST(SoundStreamTest, SilenceTakesNoBytes) {
    Listening listening = listeningTo(Mode::am);
    listening.squelch = -60;
    SoundStream stream(listening, Sound::opus, 0);
    for (const Frame& frame : framesOf(stream, amStation(1000, 0.5, -80, 24000, 1), 480)) {
        EXPECT_EQ(frame[1], static_cast<int>(Codec::silence));
        EXPECT_EQ(frame.size(), SoundHeader::bytes);
        EXPECT_EQ(number16(frame, 10), 240);
    }
}

TEST(SoundStreamTest, FramesTellTheLevelAndTheirAge) {
    SoundStream stream(listeningTo(Mode::am), Sound::adpcm, 0);
    const auto frames = framesOf(stream, carrier(0, -73, 24000, 1), 480);
    EXPECT_NEAR(static_cast<std::int16_t>(number16(frames.back(), 4)), -730, 2);
    // The filters' own time comes on top: 11 ms of the pass-band, 5 of the gain control, 2.
    EXPECT_NEAR(number16(frames.back(), 6), 30 + 18, 2);
}

} // namespace
