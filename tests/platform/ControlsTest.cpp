// SPDX-License-Identifier: MIT
#include "platform/Controls.h"

#include "MemoryControls.h"

#include <gtest/gtest.h>

namespace feedline {
namespace {

TEST(LeadingInteger, IsReadFromTheStartOfTheText) {
    EXPECT_EQ(leadingInteger("50000"), 50000);
    EXPECT_EQ(leadingInteger("50000 Hz"), 50000);
    EXPECT_EQ(leadingInteger("50.9"), 50);
    EXPECT_EQ(leadingInteger("007"), 7);
    EXPECT_EQ(leadingInteger("1,000"), 1);
    EXPECT_EQ(leadingInteger("0x10"), 0);
}

TEST(LeadingInteger, MayFollowBlanksAndASign) {
    EXPECT_EQ(leadingInteger("  \t42"), 42);
    EXPECT_EQ(leadingInteger("-42"), -42);
    EXPECT_EQ(leadingInteger("+42"), 42);
    EXPECT_EQ(leadingInteger("- 42"), 0);
}

TEST(LeadingInteger, IsZeroForATextWithoutOne) {
    EXPECT_EQ(leadingInteger(""), 0);
    EXPECT_EQ(leadingInteger("   "), 0);
    EXPECT_EQ(leadingInteger("port 50000"), 0);
    EXPECT_EQ(leadingInteger("-"), 0);
    EXPECT_EQ(leadingInteger(std::string_view("\0"
                                              "5",
                                              2)),
              0);
}

TEST(LeadingInteger, EndsAtTheTextsEndThoughDigitsFollowInMemory) {
    const std::string digits = "123456";
    EXPECT_EQ(leadingInteger(std::string_view(digits).substr(0, 3)), 123);
}

TEST(LeadingInteger, BeyondItsRangeIsTheNearestBound) {
    EXPECT_EQ(leadingInteger("2147483647"), 2147483647);
    EXPECT_EQ(leadingInteger("2147483648"), 2147483647);
    EXPECT_EQ(leadingInteger("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(leadingInteger("-2147483649"), -2147483647 - 1);
    EXPECT_EQ(leadingInteger("99999999999999999999999"), 2147483647);
    EXPECT_EQ(leadingInteger("-99999999999999999999999"), -2147483647 - 1);
}

TEST(TextField, ShowsAnIntegerInDecimalAndReadsItBack) {
    test::MemoryField field;
    for (const std::int32_t value : {0, 50000, 70000, -1, 2147483647, -2147483647 - 1}) {
        field.setIntValue(value);
        EXPECT_EQ(field.stringValue(), std::to_string(value));
        EXPECT_EQ(field.intValue(), value);
    }
}

TEST(TextField, ReadsATypedTextAsItsLeadingInteger) {
    test::MemoryField field;
    EXPECT_EQ(field.intValue(), 0);
    field.setStringValue(" 8080x");
    EXPECT_EQ(field.intValue(), 8080);
}

} // namespace
} // namespace feedline
