// SPDX-License-Identifier: MIT
#include "tools/probe/output/TerminalView.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

using namespace feedline::probe;

namespace {

constexpr std::size_t bins = SpectrumEstimator::size;

Spectrum spectrumWithCarrier(std::size_t bin) {
    Spectrum spectrum(bins, -100);
    spectrum[bin] = -20;
    return spectrum;
}

// The frame's lines without colours.
std::vector<std::string> lines(const std::string& frame) {
    std::vector<std::string> result{""};
    for (std::size_t at = 0; at < frame.size(); ++at) {
        if (frame[at] == '\x1b')
            at = frame.find('m', at);
        else if (frame[at] == '\n')
            result.emplace_back();
        else if (frame[at] != '\r')
            result.back() += frame[at];
    }
    return result;
}

// Characters, each of which is one column wide here.
std::size_t columnCount(const std::string& text) {
    std::size_t count = 0;
    for (const char byte : text)
        count += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
    return count;
}

// The column of the first character that is not a space and not of the gutter; 0 if there is none.
std::size_t firstMark(const std::string& line) {
    const std::size_t at = line.find_first_not_of(' ', 7);
    return at == std::string::npos ? 0 : columnCount(line.substr(0, at));
}

class TerminalViewTest : public testing::TestWithParam<ColourDepth> {
protected:
    TerminalViewTest() {
        facts.frequency = 7100000;
        figures.axisRate = 768000;
    }
    std::vector<std::string> frame(int width, int height, std::size_t bin = bins / 2) {
        return lines(view.frame(facts, figures, spectrumWithCarrier(bin), width, height));
    }
    StreamFacts facts;
    Figures figures;
    std::ostringstream out;
    TerminalView view{out, GetParam()};
};

TEST_P(TerminalViewTest, FillsTheTerminalExactly) {
    for (const auto& [width, height] : {std::pair{80, 24}, {200, 60}, {40, 12}}) {
        const auto text = frame(width, height);
        ASSERT_EQ(text.size(), static_cast<std::size_t>(height));
        for (const std::string& line : text)
            EXPECT_EQ(columnCount(line), static_cast<std::size_t>(width)) << line;
    }
}

TEST_P(TerminalViewTest, TooSmallATerminalGetsNothing) {
    EXPECT_EQ(frame(39, 24), std::vector<std::string>{""});
    EXPECT_EQ(frame(80, 11), std::vector<std::string>{""});
}

TEST_P(TerminalViewTest, TheCarrierStandsInItsColumn) {
    // Lines 0 and 1 are text; the spectrum's upper lines show nothing but the carrier.
    EXPECT_EQ(firstMark(frame(107, 30, bins / 2)[5]), 7U + 50);
    EXPECT_EQ(firstMark(frame(107, 30, bins / 4)[5]), 7U + 25);
}

TEST_P(TerminalViewTest, LabelsTheCentreFrequency) {
    const auto text = frame(107, 30);
    const auto axis = std::find_if(text.begin(), text.end(), [](const std::string& line) {
        return line.find("kHz  ") != std::string::npos && line.find("7000") != std::string::npos;
    });
    ASSERT_NE(axis, text.end());
    EXPECT_NEAR(static_cast<double>(axis->find("7000")), 7 + (7000 - 6716) / 768.0 * 100 - 2, 1.01);
}

INSTANTIATE_TEST_SUITE_P(Depths, TerminalViewTest,
                         testing::Values(ColourDepth::none, ColourDepth::palette,
                                         ColourDepth::full));

TEST(TerminalViewScreenTest, GivesTheScreenBack) {
    std::ostringstream out;
    {
        TerminalView view(out, ColourDepth::none);
        view.spectrum({}, {}, spectrumWithCarrier(1));
        EXPECT_EQ(out.str().find("\x1b[?1049l"), std::string::npos);
        EXPECT_NE(out.str().find("\x1b[?1049h"), std::string::npos);
    }
    EXPECT_TRUE(out.str().ends_with("\x1b[?1049l"));
}

TEST(TerminalColoursTest, FollowsTheEnvironment) {
    unsetenv("NO_COLOR");
    unsetenv("COLORTERM");
    setenv("TERM", "xterm", 1);
    EXPECT_EQ(terminalColours(), ColourDepth::none);
    setenv("TERM", "xterm-256color", 1);
    EXPECT_EQ(terminalColours(), ColourDepth::palette);
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_EQ(terminalColours(), ColourDepth::full);
    setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(terminalColours(), ColourDepth::none);
}

} // namespace
