// SPDX-License-Identifier: MIT
#include "emulator/signals/Text.h"

#include <gmock/gmock.h>

using namespace feedline::emulator;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Text, WordsAreApartByBlanks) {
    EXPECT_THAT(words("  a\tbc  d\r\n"), ElementsAre("a", "bc", "d"));
}

TEST(Text, QuotesKeepBlanksAndCommentSigns) {
    EXPECT_THAT(words("cw text=\"CQ # DE\" x"), ElementsAre("cw", "text=CQ # DE", "x"));
}

TEST(Text, ACommentEndsTheLine) {
    EXPECT_THAT(words("a # b c"), ElementsAre("a"));
    EXPECT_THAT(words("# all"), IsEmpty());
}

TEST(Text, PartsLoseBlanksAndEmptyOnes) {
    EXPECT_THAT(parts(" a b ;; c;", ';'), ElementsAre("a b", "c"));
}

TEST(Text, NumbersTakeFactors) {
    EXPECT_EQ(number("7.15M"), 7150000);
    EXPECT_EQ(number("-20"), -20);
    EXPECT_EQ(number("12k"), 12000);
    EXPECT_EQ(number("1.75G"), 1.75e9);
}

TEST(Text, NumbersAreNothingElse) {
    for (const char* text : {"", "k", "7.1 M", "7x", "1e999", "nan", "0x10", "--1"})
        EXPECT_EQ(number(text), std::nullopt) << text;
}

TEST(Text, WholeNumbersAreDecimalOrHexadecimal) {
    EXPECT_EQ(wholeNumber("-9"), -9);
    EXPECT_EQ(wholeNumber("0x1F"), 31);
    for (const char* text : {"", "-", "--1", "1.5", "0x", "12k"})
        EXPECT_EQ(wholeNumber(text), std::nullopt) << text;
}
