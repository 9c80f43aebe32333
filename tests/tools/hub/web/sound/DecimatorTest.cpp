// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Decimator.h"

#include "Signals.h"

#include <gtest/gtest.h>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

std::vector<float> tone(double frequency, double rate, double seconds) {
    std::vector<float> samples;
    for (const auto pair : carrier(frequency, 0, rate, seconds))
        samples.push_back(pair.real());
    return samples;
}

TEST(DecimatorTest, KeepsWhatIsBelowAndStopsWhatWouldFold) {
    for (const auto& [frequency, low, high] :
         {std::tuple{1000.0, -0.05, 0.05}, std::tuple{4500.0, -0.2, 0.05},
          std::tuple{7500.0, -300.0, -65.0}, std::tuple{11000.0, -300.0, -65.0}}) {
        Decimator decimator(2, 0.22, 96);
        std::vector<float> out;
        decimator.add(tone(frequency, 24000, 1), out);
        const double heard = frequency < 6000 ? frequency : 12000 - frequency;
        EXPECT_GT(toneLevel(out, heard, 12000), low) << frequency;
        EXPECT_LT(toneLevel(out, heard, 12000), high) << frequency;
    }
}

TEST(DecimatorTest, MakesOneOfEachGroupHoweverItIsFed) {
    Decimator pieces(5, 0.07, 335);
    Decimator whole(5, 0.07, 335);
    const std::vector<float> in = tone(3000, 240000, 0.02);
    std::vector<float> fromPieces;
    std::vector<float> fromWhole;
    for (std::size_t at = 0; at < in.size(); at += 3)
        pieces.add(std::span(in).subspan(at, std::min<std::size_t>(3, in.size() - at)), fromPieces);
    whole.add(in, fromWhole);
    EXPECT_EQ(fromPieces, fromWhole);
    EXPECT_EQ(fromWhole.size(), in.size() / 5);
}

} // namespace
