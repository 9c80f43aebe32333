// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/PassBand.h"

#include "Signals.h"

#include <gtest/gtest.h>

using namespace feedline::hub::web;
using namespace feedline::test;

namespace {

constexpr double rate = 12000;

Pairs filtered(PassBand& passBand, const Pairs& pairs) {
    Pairs out;
    passBand.add(pairs, out);
    return out;
}

double levelAfter(Edges edges, double offset) {
    PassBand passBand(rate, 240, 512);
    passBand.setEdges(edges);
    return toneLevel(filtered(passBand, carrier(offset, 0, rate, 1)), offset, rate);
}

TEST(PassBandTest, IsFlatBetweenItsEdges) {
    for (const double offset : {500.0, 900.0, 1500.0, 2300.0, 2600.0})
        EXPECT_NEAR(levelAfter({300, 2800}, offset), 0, 0.01) << offset;
}

TEST(PassBandTest, LetsNothingThroughBesideThem) {
    for (const double offset : {-5900.0, -2000.0, -500.0, 0.0, 100.0, 3000.0, 5900.0})
        EXPECT_LT(levelAfter({300, 2800}, offset), -70) << offset;
}

TEST(PassBandTest, IsHalfAsHighAtAnEdge) {
    EXPECT_NEAR(levelAfter({-1000, 1000}, 1000), -6, 0.1);
}

TEST(PassBandTest, SaysHowSteepItIs) {
    EXPECT_NEAR(PassBand(rate, 240, 512).transition(), 190, 2);
    EXPECT_NEAR(PassBand(rate, 240, 1024).transition(), 66, 1);
}

TEST(PassBandTest, GivesTheSameWhateverPiecesItIsFedIn) {
    const Pairs pairs = carrier(1234, -3, rate, 0.5) + carrier(-777, -9, rate, 0.5);
    PassBand whole(rate, 240, 512);
    PassBand pieces(rate, 240, 512);
    whole.setEdges({200, 3000});
    pieces.setEdges({200, 3000});
    Pairs out;
    for (std::size_t at = 0; at < pairs.size(); at += 7)
        pieces.add(std::span(pairs).subspan(at, std::min<std::size_t>(7, pairs.size() - at)), out);
    EXPECT_EQ(out, filtered(whole, pairs));
    EXPECT_EQ(out.size(), pairs.size());
}

TEST(PassBandTest, DelaysByWhatItSays) {
    PassBand passBand(rate, 240, 512);
    passBand.setEdges({-3000, 3000});
    Pairs pairs(1200);
    pairs[500] = 1;
    const Pairs out = filtered(passBand, pairs);
    const auto peak = std::max_element(out.begin(), out.end(),
                                       [](auto a, auto b) { return std::norm(a) < std::norm(b); });
    EXPECT_EQ(peak - out.begin(), 500 + static_cast<std::ptrdiff_t>(passBand.delay()));
}

} // namespace
