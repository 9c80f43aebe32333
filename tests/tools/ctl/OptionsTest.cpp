// SPDX-License-Identifier: MIT
// What feedlinectl understands, and what it says of the rest before anything is changed.
#include "tools/ctl/Options.h"

#include "tools/ctl/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace feedline::ctl {
namespace {

using ::testing::HasSubstr;

ParsedOptions parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "feedlinectl");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

Options options(const std::vector<const char*>& arguments) {
    const ParsedOptions parsed = parse(arguments);
    EXPECT_FALSE(parsed.exit.has_value());
    return parsed.options;
}

/// The line on standard error; the exit status is checked.
std::string refusal(const std::vector<const char*>& arguments) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(parse(arguments).exit, static_cast<int>(ExitStatus::badArguments));
    std::string said = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find('\n'), said.size() - 1) << "one line: " << said;
    EXPECT_TRUE(said.starts_with("feedlinectl: ")) << said;
    return said;
}

TEST(CtlOptions, StatusStandsAloneOrWithItsOptions) {
    EXPECT_EQ(options({"status"}).command, Command::status);
    EXPECT_FALSE(options({"status"}).json);
    EXPECT_TRUE(options({"status", "--json"}).json);
    EXPECT_TRUE(options({"status", "--json", "--watch"}).watch);
}

TEST(CtlOptions, TheBusIsSaidBeforeOrBehindTheCommand) {
    EXPECT_EQ(options({"status"}).bus, Bus::any);
    EXPECT_EQ(options({"--user", "status"}).bus, Bus::session);
    EXPECT_EQ(options({"status", "--system"}).bus, Bus::system);
    EXPECT_EQ(options({"gain", "lna", "3", "--user"}).bus, Bus::session);
    EXPECT_EQ(options({"set", "--system", "port", "3"}).bus, Bus::system);
    EXPECT_THAT(refusal({"--user", "--system", "status"}), HasSubstr("--system"));
}

TEST(CtlOptions, SettingsTakeWhatTheyAreMadeFor) {
    EXPECT_EQ(options({"set", "port", "1"}).command, Command::setPort);
    EXPECT_EQ(options({"set", "port", "65535"}).text, "65535");
    EXPECT_EQ(options({"set", "address", "192.168.1.20"}).command, Command::setAddress);
    EXPECT_EQ(options({"set", "device", "hf"}).command, Command::setDevice);
    for (const char* bad : {"0", "65536", "-1", "x", "", "1.5", " 1"})
        EXPECT_THAT(refusal({"set", "port", bad}), HasSubstr("A port is a number from 1 to 65535."))
            << bad;
    for (const char* bad : {"1.2.3", "host", "::1", "1.2.3.256", "", "1.2.3.4 "})
        EXPECT_THAT(refusal({"set", "address", bad}), HasSubstr("192.168.1.20")) << bad;
}

TEST(CtlOptions, EveryGainHasItsRange) {
    const std::vector<std::pair<const char*, std::int32_t>> highest{
        {"lna", 14}, {"mixer", 15}, {"vga", 15}, {"linearity", 21}, {"sensitivity", 21}};
    for (const auto& [word, most] : highest) {
        const Options least = options({"gain", word, "0"});
        EXPECT_EQ(least.command, Command::gain);
        EXPECT_STREQ(least.gain->word, word);
        EXPECT_EQ(least.value, 0);
        EXPECT_EQ(options({"gain", word, std::to_string(most).c_str()}).value, most);
        const std::string range = std::string(word) + " takes 0 to " + std::to_string(most);
        const std::string above = std::to_string(most + 1);
        for (const char* bad : {"-1", above.c_str(), "4294967296", "on", "3.5", "3dB", ""})
            EXPECT_THAT(refusal({"gain", word, bad}), HasSubstr(range)) << bad;
    }
}

TEST(CtlOptions, SwitchesAreOnOrOff) {
    EXPECT_EQ(options({"gain", "lna-agc", "on"}).value, 1);
    EXPECT_EQ(options({"gain", "mixer-agc", "off"}).value, 0);
    for (const char* bad : {"1", "0", "yes", "ON", ""})
        EXPECT_THAT(refusal({"gain", "lna-agc", bad}), HasSubstr("lna-agc takes on or off")) << bad;
}

TEST(CtlOptions, TheRest) {
    EXPECT_EQ(options({"restart"}).command, Command::restart);
    EXPECT_FALSE(options({"restart"}).force);
    EXPECT_TRUE(options({"restart", "--force"}).force);
    EXPECT_EQ(options({"quit"}).command, Command::quit);
    EXPECT_EQ(options({"idle"}).command, Command::idle);
    EXPECT_DOUBLE_EQ(options({"--wait", "2.5", "idle"}).wait, 2.5);
}

TEST(CtlOptions, WhatIsMissingOrTooMuchIsRefused) {
    refusal({});
    refusal({"set"});
    refusal({"gain"});
    refusal({"gain", "lna"});
    refusal({"gain", "lna", "1", "2"});
    refusal({"set", "port"});
    refusal({"set", "gain", "1"});
    refusal({"nonsense"});
    refusal({"status", "quit"});
    refusal({"status", "--force"});
    refusal({"--wait", "-1", "status"});
    refusal({"--wait", "x", "status"});
}

TEST(CtlOptions, HelpAndVersionEndWell) {
    for (const char* option : {"--help", "--version"}) {
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(parse({option}).exit, 0);
        EXPECT_THAT(::testing::internal::GetCapturedStdout(), HasSubstr("feedlinectl"));
    }
}

} // namespace
} // namespace feedline::ctl
