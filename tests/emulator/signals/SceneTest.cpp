// SPDX-License-Identifier: MIT
#include "emulator/signals/Scene.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace feedline::emulator;

namespace {

std::string complaintAbout(std::string_view text) {
    try {
        parseScene(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

} // namespace

TEST(Scene, EveryKindOfSignalIsRead) {
    const Scene scene = parseScene("carrier 7.15M -20\n"
                                   "am 7.2M -35 tone=1000 depth=80 # comment\n"
                                   "\n"
                                   "cw 7030k -40 wpm=25 text=\"DE TEST\"\n"
                                   "fm 100M -20 stereo rds deviation=50k\n"
                                   "noise -140");
    ASSERT_EQ(scene.signals.size(), 4U);
    EXPECT_EQ(scene.signals[0].kind, Signal::Kind::carrier);
    EXPECT_EQ(scene.signals[0].frequency, 7150000);
    EXPECT_EQ(scene.signals[0].level, -20);
    EXPECT_EQ(scene.signals[1].tone, 1000);
    EXPECT_EQ(scene.signals[1].depth, 80);
    EXPECT_EQ(scene.signals[2].text, "DE TEST");
    EXPECT_EQ(scene.signals[2].speed, 25);
    EXPECT_TRUE(scene.signals[3].stereo);
    EXPECT_TRUE(scene.signals[3].radioData);
    EXPECT_EQ(scene.signals[3].deviation, 50000);
    EXPECT_EQ(scene.noise, -140);
}

TEST(Scene, TheDefaultHasTheCleanCarrierAndTheStereoStation) {
    const Scene scene = parseScene(defaultSceneText());
    EXPECT_EQ(scene.signals.at(0).frequency, 7150000);
    const auto stereo = [](const Signal& s) {
        return s.stereo && s.frequency == 100e6;
    };
    EXPECT_TRUE(std::any_of(scene.signals.begin(), scene.signals.end(), stereo));
}

TEST(Scene, ErrorsNameTheLine) {
    EXPECT_EQ(complaintAbout("carrier 1M -20\n\nbeacon 2M -20\n"),
              "line 3: unknown kind of signal: beacon");
    EXPECT_EQ(complaintAbout("am 1M"), "line 1: am needs a frequency and a level");
    EXPECT_EQ(complaintAbout("am 1M -20 wpm=3"), "line 1: unknown option: wpm=3");
    EXPECT_EQ(complaintAbout("carrier x -20"), "line 1: frequency is not a number: x");
    EXPECT_EQ(complaintAbout("carrier 1M 3"), "line 1: level is out of range: 3");
    EXPECT_EQ(complaintAbout("cw 1M -20"), "line 1: cw needs a text");
    EXPECT_EQ(complaintAbout("cw 1M -20 text=\"a*b\""), "line 1: text has no Morse signs for: a*b");
    EXPECT_EQ(complaintAbout("fm 1M -20 deviation=1M"), "line 1: deviation is out of range: 1M");
    EXPECT_EQ(complaintAbout("# ok\nnoise"), "line 2: noise needs one level");
}
