// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Mode.h"

#include <gtest/gtest.h>

#include <limits>

using namespace feedline::hub::web;

namespace {

TEST(ModeTest, NamesLeadToModesAndBack) {
    for (const ModeTraits& each : modes)
        EXPECT_EQ(modeCalled(each.name), each.mode);
    EXPECT_EQ(modeCalled("AM"), std::nullopt);
    EXPECT_EQ(modeCalled(""), std::nullopt);
}

TEST(ModeTest, TraitsStandInTheOrderOfTheModes) {
    for (const ModeTraits& each : modes) {
        EXPECT_EQ(&traits(each.mode), &each);
        EXPECT_EQ(each.channelRate % each.audioRate, 0);
        EXPECT_EQ(allowedEdges(each.mode, each.edges), each.edges);
    }
}

TEST(ModeTest, EdgesStayWithinTheLimits) {
    EXPECT_EQ(allowedEdges(Mode::usb, {-9000, 9000}), (Edges{-4000, 4000}));
    EXPECT_EQ(allowedEdges(Mode::am, {-100, 6000}), (Edges{-100, 5800}));
}

TEST(ModeTest, EdgesKeepTheirOrderAndAWidth) {
    EXPECT_EQ(allowedEdges(Mode::cw, {100, -100}), (Edges{100, 150}));
    EXPECT_EQ(allowedEdges(Mode::cw, {5000, 5000}), (Edges{1450, 1500}));
}

TEST(ModeTest, WhatIsNoNumberIsTheModesOwnEdge) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    const double endless = std::numeric_limits<double>::infinity();
    EXPECT_EQ(allowedEdges(Mode::lsb, {none, endless}), traits(Mode::lsb).edges);
}

} // namespace
