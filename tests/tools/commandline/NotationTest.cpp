// SPDX-License-Identifier: MIT
#include "tools/commandline/Notation.h"

#include <gtest/gtest.h>

namespace feedline::commandline {
namespace {

TEST(Hertz, AreReadAsPeopleWriteThem) {
    EXPECT_EQ(parseHertz("7100000"), 7100000U);
    EXPECT_EQ(parseHertz("7100k"), 7100000U);
    EXPECT_EQ(parseHertz("7100K"), 7100000U);
    EXPECT_EQ(parseHertz("7.1MHz"), 7100000U);
    EXPECT_EQ(parseHertz("1.5G"), 1500000000U);
    EXPECT_EQ(parseHertz("4294967295"), 4294967295U);
    EXPECT_EQ(parseHertz("0"), 0U);
}

TEST(Hertz, AreNotGuessed) {
    for (const char* wrong :
         {"", "Hz", "k", "M", "-1", "4294967296", "5G", "1e99", "nan", "inf", "7.1 M", "7x"})
        EXPECT_FALSE(parseHertz(wrong)) << wrong;
}

TEST(Server, IsAHostAndAPerhapsGivenPort) {
    std::string host;
    std::uint16_t port = 50000;
    EXPECT_TRUE(parseServer("radio", host, port));
    EXPECT_EQ(host, "radio");
    EXPECT_EQ(port, 50000);
    EXPECT_TRUE(parseServer("10.0.0.7:65535", host, port));
    EXPECT_EQ(host, "10.0.0.7");
    EXPECT_EQ(port, 65535);
}

TEST(Server, HasAHostAndAPortThatCanBe) {
    std::string host;
    std::uint16_t port = 0;
    for (const char* wrong :
         {"", ":50000", "radio:", "radio:0", "radio:65536", "radio:http", "radio:1x"})
        EXPECT_FALSE(parseServer(wrong, host, port)) << wrong;
}

} // namespace
} // namespace feedline::commandline
