// SPDX-License-Identifier: MIT
#include "tools/probe/output/StatusLine.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace feedline::probe;

namespace {

Figures someFigures() {
    Figures figures;
    figures.elapsed = 5.01;
    figures.sampleRate = 768012;
    figures.axisRate = 768000;
    figures.reception.counts = {15000, 3, 2, 1, 0};
    figures.levels[0] = {-20.04, 0.00123, 7};
    figures.levels[1] = {-20.06, -0.001, 0};
    figures.carrier = Carrier{-12345.6, -31.26};
    return figures;
}

TEST(StatusLineTest, ProgressKnowsTheLength) {
    StreamFacts facts;
    facts.length = 10;
    EXPECT_EQ(progressText(facts, someFigures()), "[#####.....] 5/10 s");
    Figures late = someFigures();
    late.elapsed = 12;
    EXPECT_EQ(progressText(facts, late), "[##########] 12/10 s");
    facts.length.reset();
    EXPECT_EQ(progressText(facts, late), "12 s");
}

TEST(StatusLineTest, CarrierIsAbsoluteWhenTheProbeHasTuned) {
    StreamFacts facts;
    EXPECT_EQ(carrierText(facts, someFigures()), "-12.346 kHz from centre -31.3 dBFS");
    facts.frequency = 7100000;
    EXPECT_EQ(carrierText(facts, someFigures()), "7087.654 kHz -31.3 dBFS");
    EXPECT_EQ(carrierText(facts, {}), "no carrier");
}

TEST(StatusLineTest, OneLineASecondWhenThereIsNoTerminal) {
    std::ostringstream out;
    StatusLine view(out, false);
    view.second({}, someFigures());
    EXPECT_EQ(out.str(),
              "5 s  768.01 kS/s  15000 dg  lost 3  reord 2  dup 1  I -20.0 Q -20.1 dBFS  "
              "clip 7/0  DC +0.0012/-0.0010  -12.346 kHz from centre -31.3 dBFS\n");
}

TEST(StatusLineTest, RedrawnInPlaceOnATerminal) {
    std::ostringstream out;
    StatusLine view(out, true);
    view.second({}, someFigures());
    EXPECT_TRUE(out.str().starts_with("\r5 s  768.01 kS/s"));
    EXPECT_EQ(out.str().find('\n'), std::string::npos);
}

TEST(StatusLineTest, SummaryTellsWhatMatters) {
    StreamFacts facts;
    facts.recording = "a.wav";
    Figures figures = someFigures();
    figures.reception.overflowed = 2;
    figures.reception.counts.restarts = 1;
    figures.recording = RecordingOutcome{3840768, 768, 0, {}};
    const std::string text = summaryText(facts, figures);
    for (const char* part :
         {"15000 received, 3 lost (0.0200 %), 2 reordered, 1 duplicated", "count anew 1 times",
          "of the lost, 2 came", "a.wav: 3840768 IQ pairs, 768 of them zeros"})
        EXPECT_NE(text.find(part), std::string::npos) << part << '\n' << text;
}

TEST(StatusLineTest, SummaryOfNothing) {
    const std::string text = summaryText({}, {});
    EXPECT_NE(text.find("0 received"), std::string::npos);
    EXPECT_EQ(text.find("dBFS"), std::string::npos);
}

} // namespace
