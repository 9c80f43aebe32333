// SPDX-License-Identifier: MIT
#include "tools/soapy/Arguments.h"

#include <gtest/gtest.h>

#include <SoapySDR/Logger.hpp>
#include <string>

using namespace feedline::soapy;

namespace {

std::string logged;

class ArgumentsTest : public testing::Test {
protected:
    ArgumentsTest() {
        logged.clear();
        SoapySDR::registerLogHandler(
            [](SoapySDR::LogLevel, const char* line) { logged += std::string(line) + '\n'; });
    }
};

TEST_F(ArgumentsTest, NothingIsTheServerOfThisMachine) {
    const Arguments arguments = readArguments({});
    EXPECT_EQ(arguments.endpoint, (feedline::client::Endpoint{"127.0.0.1", 50000, ""}));
    EXPECT_FALSE(arguments.rate);
    EXPECT_EQ(arguments.ppm, 0);
    EXPECT_EQ(arguments.offset, 0);
    EXPECT_EQ(arguments.wait.count(), 10);
    EXPECT_EQ(arguments.giveUp.count(), 0);
    EXPECT_EQ(arguments.label(), "Feedline 127.0.0.1:50000");
    EXPECT_EQ(arguments.datagramAddress(), "0.0.0.0");
}

TEST_F(ArgumentsTest, EverythingCanBeSet) {
    const Arguments arguments = readArguments({{"host", "antenna"},
                                               {"port", "50001"},
                                               {"bind", "192.168.1.5"},
                                               {"rate", "912k"},
                                               {"ppm", "-1.5"},
                                               {"offset", "125M"},
                                               {"buffer", "1000000"},
                                               {"wait", "0.5"},
                                               {"give_up", "60"}});
    EXPECT_EQ(arguments.endpoint, (feedline::client::Endpoint{"antenna", 50001, "192.168.1.5"}));
    EXPECT_EQ(arguments.rate, 912000);
    EXPECT_EQ(arguments.ppm, -1.5);
    EXPECT_EQ(arguments.offset, 125e6);
    EXPECT_EQ(arguments.buffer, 1000000);
    EXPECT_EQ(arguments.wait.count(), 0.5);
    EXPECT_EQ(arguments.giveUp.count(), 60);
    EXPECT_EQ(arguments.label(), "Feedline antenna:50001 from 192.168.1.5");
    EXPECT_EQ(arguments.datagramAddress(), "192.168.1.5");
    EXPECT_EQ(logged, "");
}

TEST_F(ArgumentsTest, ThePortMayFollowTheHost) {
    EXPECT_EQ(readArguments({{"host", "antenna:50001"}}).endpoint.server(), "antenna:50001");
    EXPECT_EQ(readArguments({{"host", "antenna:50001"}, {"port", "7"}}).endpoint.server(),
              "antenna:7");
}

TEST_F(ArgumentsTest, WhatIsNotUnderstoodIsSaidAndLeftOut) {
    EXPECT_EQ(readArguments({{"port", "99999"}}).endpoint.port, 50000);
    EXPECT_NE(logged.find("port=99999 is not understood"), std::string::npos) << logged;
    EXPECT_FALSE(readArguments({{"rate", "fast"}}).rate);
    EXPECT_FALSE(readArguments({{"rate", "0"}}).rate);
    EXPECT_EQ(readArguments({{"ppm", "nan"}}).ppm, 0);
    EXPECT_EQ(readArguments({{"host", "antenna:"}}).endpoint.server(), "antenna:50000");
}

TEST_F(ArgumentsTest, NumbersAsPeopleWriteThem) {
    EXPECT_EQ(readNumber("768000"), 768000);
    EXPECT_EQ(readNumber("2.5M"), 2.5e6);
    EXPECT_EQ(readNumber("1G"), 1e9);
    EXPECT_EQ(readNumber("-3k"), -3000);
    EXPECT_EQ(readNumber("1e3"), 1000);
    for (const char* const none : {"", "k", "1kk", "1 k", "0x10", "inf", "1m"})
        EXPECT_EQ(readNumber(none), std::nullopt) << none;
}

TEST_F(ArgumentsTest, KeysOfOthersAreTheirs) {
    EXPECT_TRUE(areOurs({}));
    EXPECT_TRUE(areOurs({{"driver", "feedline"}, {"serial", "1"}}));
    EXPECT_TRUE(areOurs({{"soapy_remote_no_deeper", ""}}));
    EXPECT_TRUE(areOurs({{"host", "antenna"}}));
    EXPECT_FALSE(areOurs({{"serial", "1"}}));
    EXPECT_FALSE(areOurs({{"driver", "another"}}));
}

} // namespace
