// SPDX-License-Identifier: MIT
#include "tools/hub/config/CommandLine.h"

#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace feedline::hub {
namespace {

ParsedCommandLine parse(std::vector<const char*> arguments, const std::string& usualFile = {}) {
    arguments.insert(arguments.begin(), "feedline-hub");
    return parseCommandLine(static_cast<int>(arguments.size()), arguments.data(), usualFile);
}

class CommandLineTest : public testing::Test {
protected:
    std::string file(const std::string& content) {
        std::string name = folder.path() / "hub.conf";
        std::ofstream(name) << content;
        return name;
    }

    test::TemporaryFolder folder;
};

TEST_F(CommandLineTest, HasDefaults) {
    const ParsedCommandLine parsed = parse({});
    ASSERT_FALSE(parsed.exit);
    const Configuration& c = parsed.configuration;
    EXPECT_EQ(c.serverHost, "127.0.0.1");
    EXPECT_EQ(c.serverPort, 50000);
    EXPECT_EQ(c.listen, "127.0.0.1");
    EXPECT_EQ(c.native, 50001);
    EXPECT_EQ(c.rtlTcp, 1234);
    EXPECT_EQ(c.zmq, 50010);
    EXPECT_EQ(c.web, 50080);
    EXPECT_EQ(c.tuning, Tuning::first);
    EXPECT_FALSE(c.rate);
    EXPECT_FALSE(c.frequency);
    EXPECT_TRUE(c.onSilence.empty());
    EXPECT_FALSE(c.json);
    EXPECT_FALSE(c.status);
}

TEST_F(CommandLineTest, TakesEveryOption) {
    const ParsedCommandLine parsed =
        parse({"--server",     "radio:51000", "--listen",    "0.0.0.0", "--native",      "1",
               "--rtl-tcp",    "0",           "--zmq",       "3",       "--web",         "6",
               "--tuning",     "locked",      "--rate",      "912k",    "--frequency",   "7.1M",
               "--linger",     "2.5",         "--listeners", "9",       "--per-address", "8",
               "--on-silence", "echo a b",    "--json"});
    ASSERT_FALSE(parsed.exit);
    const Configuration& c = parsed.configuration;
    EXPECT_EQ(c.serverHost, "radio");
    EXPECT_EQ(c.serverPort, 51000);
    EXPECT_EQ(c.listen, "0.0.0.0");
    EXPECT_EQ(c.native, 1);
    EXPECT_EQ(c.rtlTcp, 0);
    EXPECT_EQ(c.zmq, 3);
    EXPECT_EQ(c.web, 6);
    EXPECT_EQ(c.tuning, Tuning::locked);
    EXPECT_EQ(c.rate, 912000U);
    EXPECT_EQ(c.frequency, 7100000U);
    EXPECT_EQ(c.linger, 2.5);
    EXPECT_EQ(c.listeners, 9U);
    EXPECT_EQ(c.perAddress, 8U);
    EXPECT_EQ(c.onSilence, "echo a b");
    EXPECT_TRUE(c.json);
}

TEST_F(CommandLineTest, TakesTheLastOfTwo) {
    EXPECT_EQ(parse({"--native", "7", "--native", "8"}).configuration.native, 8);
}

TEST_F(CommandLineTest, RefusesWhatMakesNoSenseInOneLine) {
    const std::vector<std::vector<const char*>> lines{
        {"--server", ""},      {"--server", "a:0"},  {"--server", "a:b"},
        {"--native", "65536"}, {"--native", "-1"},   {"--zmq", "65534"},
        {"--listen", "here"},  {"--tuning", "me"},   {"--rate", "7999"},
        {"--rate", "fast"},    {"--rate", "21M"},    {"--linger", "-1"},
        {"--frequency", "5G"}, {"--listeners", "0"}, {"--per-address", ""},
        {"--unknown"},         {"surplus"},          {"--config", "/nonexistent/hub.conf"}};
    for (const auto& line : lines) {
        testing::internal::CaptureStderr();
        const ParsedCommandLine parsed = parse(line);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(parsed.exit, 2) << line[0];
        EXPECT_TRUE(said.starts_with("feedline-hub: ")) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    }
}

TEST_F(CommandLineTest, ReadsTheFileAndLetsTheCommandLineHaveTheLastWord) {
    const std::string name = file("server = radio:51000\nnative=7\nrtl-tcp=8 # comment\n"
                                  "tuning=any\non-silence=\"systemctl --user restart x\"\n");
    const ParsedCommandLine parsed = parse({"--config", name.c_str(), "--native", "9"});
    ASSERT_FALSE(parsed.exit);
    EXPECT_EQ(parsed.configuration.serverHost, "radio");
    EXPECT_EQ(parsed.configuration.native, 9);
    EXPECT_EQ(parsed.configuration.rtlTcp, 8);
    EXPECT_EQ(parsed.configuration.tuning, Tuning::any);
    EXPECT_EQ(parsed.configuration.onSilence, "systemctl --user restart x");
}

TEST_F(CommandLineTest, RefusesAFileThatMakesNoSense) {
    for (const char* content : {"natvie=7\n", "native=many\n", "tuning=me\n", "json=true\n",
                                "[section]\nnative=7\n", "listen=[,\n"}) {
        testing::internal::CaptureStderr();
        const std::string name = file(content);
        EXPECT_EQ(parse({"--config", name.c_str()}).exit, 2) << content;
        EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with("feedline-hub: "));
    }
}

TEST_F(CommandLineTest, ReadsTheUsualFileIfItIsThere) {
    EXPECT_EQ(parse({}, file("native=7\n")).configuration.native, 7);
    EXPECT_EQ(parse({}, "/nonexistent/hub.conf").configuration.native, 50001);
}

TEST_F(CommandLineTest, ExplainsItself) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse({"--help"}).exit, 0);
    const std::string help = testing::internal::GetCapturedStdout();
    for (const char* option : {"--server", "--listen", "--native", "--rtl-tcp", "--zmq", "--web",
                               "--tuning", "--rate", "--linger", "--listeners", "--per-address",
                               "--on-silence", "--config", "--json", "--status"})
        EXPECT_NE(help.find(option), std::string::npos) << option;
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse({"--version"}).exit, 0);
    EXPECT_TRUE(testing::internal::GetCapturedStdout().starts_with("feedline-hub "));
}

} // namespace
} // namespace feedline::hub
