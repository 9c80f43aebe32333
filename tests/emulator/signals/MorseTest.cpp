// SPDX-License-Identifier: MIT
#include "emulator/signals/Morse.h"

#include <gtest/gtest.h>

#include <string>

using namespace feedline::emulator;

namespace {

std::string line(std::string_view text) {
    std::string drawn;
    for (bool down : keyed(text))
        drawn += down ? '=' : '.';
    return drawn;
}

} // namespace

TEST(Morse, SignsHaveDotsDashesAndGaps) {
    EXPECT_EQ(line("K"), "===.=.===.......");
    EXPECT_EQ(line("EE"), "=...=.......");
}

TEST(Morse, WordsAreSevenDotsApart) {
    EXPECT_EQ(line("E  T"), "=.......===.......");
}

TEST(Morse, ParisTakesFiftyDots) {
    EXPECT_EQ(keyed("PARIS").size(), 50U);
}

TEST(Morse, CaseDoesNotMatter) {
    EXPECT_EQ(keyed("cq de"), keyed("CQ DE"));
}

TEST(Morse, OnlyKnownSignsCount) {
    EXPECT_TRUE(isMorse("CQ CQ DE FEEDLINE/P 599 ?"));
    EXPECT_FALSE(isMorse("A*B"));
    EXPECT_TRUE(keyed("").empty());
}
