// SPDX-License-Identifier: MIT
// The real programs where numbers are written with a decimal comma: what they print and log, and
// what they understand, is the same there as everywhere.
#include "CommaLocale.h"
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sys/wait.h>

namespace feedline::test {
namespace {

using ::testing::ContainsRegex;
using ::testing::Not;

/// What the command prints, on both streams.
[[maybe_unused]] std::string printedBy(const std::string& command) {
    std::string text;
    std::array<char, 4096> part{};
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    while (std::fgets(part.data(), part.size(), pipe) != nullptr)
        text += part.data();
    EXPECT_TRUE(WIFEXITED(pclose(pipe))) << command;
    return text;
}

class Locale : public ::testing::TestWithParam<Program> {
protected:
    CommaLocale comma;
    TemporaryFolder folder;
};

// Samples come faster than the library's consumer takes them, so some are lost, which is logged
// with two numbers that have decimals.
TEST_P(Locale, LoggedNumbersHaveAPoint) {
    std::ofstream(folder.file("silence.raw")) << std::string(4096, '\0');
    auto variables = comma.environment();
    variables["FEEDLINE_EMULATOR_SPEED"] = "max";
    variables["FEEDLINE_EMULATOR_RECORDING"] = folder.file("silence.raw");
    EmulatedServer server(receiverAirspy,
                          {.devices = "airspy", .more = variables, .program = GetParam()});
    ControlConnection client(server.port());
    client.send(setState(2));
    ASSERT_TRUE(server.process.log.waitFor("myCallback "));
    EXPECT_EQ(server.process.end(SIGTERM, "losing samples"), 0);
    EXPECT_THAT(server.process.log.text(),
                ContainsRegex("myCallback 2 [0-9]+ [0-9]+ 9999999\\.000000 0\\.000000\n"));
    EXPECT_THAT(server.process.log.text(), Not(ContainsRegex("[0-9],[0-9]")));
}

INSTANTIATE_TEST_SUITE_P(Programs, Locale, ::testing::Values(Program::feedlined, Program::feedline),
                         [](const auto& program) {
                             return program.param == Program::feedline ? "feedline" : "feedlined";
                         });

#ifdef PROBE
TEST_F(Locale, TheProbePrintsAndTakesNumbersWithAPoint) {
    comma.offer();
    const ReservedPort reserved;
    const std::uint16_t port = reserved.number();
    const ServerProcess server(
        {.settings = {port, receiverHf, "127.0.0.1"}, .environment = comma.environment()});
    const std::string text =
        printedBy(std::string(PROBE) + " stream 127.0.0.1:" + std::to_string(port) +
                  " --wait 60 --tune 7.1M --seconds 0.5 --bind 127.0.0.1");
    EXPECT_THAT(text, ContainsRegex("sample rate [0-9]+\\.[0-9]+ kS/s"));
    EXPECT_THAT(text, ContainsRegex("strongest carrier 71[45][0-9]\\.[0-9]{3} kHz"));
    EXPECT_THAT(text, Not(ContainsRegex("[0-9],[0-9]")));
}
#endif

} // namespace
} // namespace feedline::test
