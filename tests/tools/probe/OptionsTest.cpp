// SPDX-License-Identifier: MIT
#include "tools/probe/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace feedline::probe;

namespace {

using Arguments = std::vector<std::string>;

ParsedOptions parse(const Arguments& texts) {
    std::vector<const char*> arguments{"feedline-probe"};
    for (const std::string& text : texts)
        arguments.push_back(text.c_str());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ParsedOptions parsed = parseOptions(static_cast<int>(arguments.size()), arguments.data());
    testing::internal::GetCapturedStdout();
    const std::string error = testing::internal::GetCapturedStderr();
    const bool oneLine = !error.empty() && error.find('\n') == error.size() - 1;
    EXPECT_EQ(oneLine, parsed.exit.value_or(0) != 0) << error;
    return parsed;
}

TEST(OptionsTest, InfoWithDefaults) {
    const auto parsed = parse({"info", "radio"});
    ASSERT_FALSE(parsed.exit);
    EXPECT_EQ(parsed.options.command, Command::info);
    EXPECT_EQ(parsed.options.host, "radio");
    EXPECT_EQ(parsed.options.port, 50000);
    EXPECT_FALSE(parsed.options.json);
}

TEST(OptionsTest, StreamWithEverything) {
    const auto parsed = parse({"stream", "127.0.0.1:4464", "--tune", "7.1M", "--seconds", "2.5",
                               "--bind", "127.0.0.1", "--rate", "768000", "--json"});
    ASSERT_FALSE(parsed.exit);
    EXPECT_EQ(parsed.options.command, Command::stream);
    EXPECT_EQ(parsed.options.port, 4464);
    EXPECT_EQ(parsed.options.tune, 7100000U);
    EXPECT_EQ(parsed.options.seconds, 2.5);
    EXPECT_EQ(parsed.options.bind, "127.0.0.1");
    EXPECT_EQ(parsed.options.rate, 768000);
    EXPECT_TRUE(parsed.options.json);
}

TEST(OptionsTest, HelpAndVersionAreNoErrors) {
    EXPECT_EQ(parse({"--help"}).exit, 0);
    EXPECT_EQ(parse({"stream", "--help"}).exit, 0);
    EXPECT_EQ(parse({"--version"}).exit, 0);
}

class BadArgumentsTest : public testing::TestWithParam<Arguments> {};

TEST_P(BadArgumentsTest, OneLineAndStatusTwo) {
    EXPECT_EQ(parse(GetParam()).exit, 2);
}

INSTANTIATE_TEST_SUITE_P(All, BadArgumentsTest,
                         testing::Values(Arguments{}, Arguments{"listen", "radio"},
                                         Arguments{"info"}, Arguments{"info", ":50000"},
                                         Arguments{"info", "radio:0"},
                                         Arguments{"info", "radio:65536"},
                                         Arguments{"info", "radio:http"},
                                         Arguments{"info", "radio", "--timeout", "-1"},
                                         Arguments{"info", "radio", "--tune", "7100000"},
                                         Arguments{"stream", "radio", "--tune", "seven"},
                                         Arguments{"stream", "radio", "--tune", "5G"},
                                         Arguments{"stream", "radio", "--seconds", "0"},
                                         Arguments{"stream", "radio", "--bind", "here"},
                                         Arguments{"stream", "radio", "--no-such-option"}));

} // namespace
