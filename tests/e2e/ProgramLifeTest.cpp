// SPDX-License-Identifier: MIT
// From start to end without a stream: what the programs say when there is no receiver or no port,
// and that a signal ends them well at every moment.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "Loopback.h"
#include "ServerProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <thread>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::Not;

constexpr int hf = 0;
constexpr int airspy = 1;
constexpr int noReceiver = 2;

struct ProgramLife : ::testing::Test {
    ReservedPort local;
    const std::uint16_t port = local.number();
    const std::string portLine = "portToUse " + std::to_string(port);

    ServerProcess::Launch launch(int type, const std::string& devices,
                                 Program program = Program::feedlined) const {
        return {program, {port, type, "127.0.0.1"}, {{"FEEDLINE_EMULATOR_DEVICES", devices}}};
    }

    /// How many microseconds the program takes until it waits for a client.
    int startOf(Program program) const {
        const auto begin = std::chrono::steady_clock::now();
        ServerProcess server(launch(noReceiver, "none", program));
        EXPECT_TRUE(server.output.waitFor("Waiting for incoming connections...\n"));
        const auto taken = std::chrono::steady_clock::now() - begin;
        return static_cast<int>(taken / 1us);
    }
};

TEST_F(ProgramLife, AMissingHfIsAnAlertAndNoListener) {
    ServerProcess server(launch(hf, "none"));
    ASSERT_TRUE(server.log.waitFor("ALERT: "));
    EXPECT_FALSE(listening(port));
    EXPECT_EQ(server.end(SIGTERM, "no receiver"), 0);
    EXPECT_THAT(server.logLines(), ElementsAre(portLine, "initAirspy", "n 0",
                                               "ALERT: No AirSpyHF+ found - Is it plugged in?"));
    EXPECT_EQ(server.output.text(), "");
    EXPECT_EQ(server.savedSettings(), (Settings{port, hf, "127.0.0.1"}));
}

TEST_F(ProgramLife, AMissingAirspyIsNoAlertAndNoListener) {
    ServerProcess server(launch(airspy, "none"));
    ASSERT_TRUE(server.log.waitFor("n 0\n"));
    EXPECT_FALSE(listening(port));
    EXPECT_EQ(server.end(SIGTERM, "no receiver"), 0);
    EXPECT_THAT(server.logLines(), ElementsAre(portLine, "n 0"));
    EXPECT_EQ(server.output.text(), "");
    EXPECT_EQ(server.savedSettings(), (Settings{port, airspy, "127.0.0.1"}));
}

TEST_F(ProgramLife, TheOtherReceiverAloneIsNoneAtAll) {
    ServerProcess server(launch(airspy, "hf"));
    ASSERT_TRUE(server.log.waitFor("n 0\n"));
    EXPECT_EQ(server.end(SIGTERM, "the other receiver only"), 0);
    EXPECT_THAT(server.logLines(), ElementsAre(portLine, "n 0"));
}

TEST_F(ProgramLife, ATypeWithoutReceiverServesAnswersOnly) {
    ServerProcess server(launch(noReceiver, "hf,airspy"));
    ControlConnection client(port);
    EXPECT_EQ(client.ask(setState(2)), setState(2));
    EXPECT_EQ(client.ask(askStatus()), (Bytes{0x05, 0x00, 0x05, 0x00, 11}));
    EXPECT_EQ(client.ask(setFrequency(7100000)), setFrequency(7100000));
    EXPECT_EQ(server.end(SIGTERM, "client connected"), 0);
    EXPECT_EQ(server.savedSettings(), (Settings{port, noReceiver, "127.0.0.1"}));
    EXPECT_THAT(server.log.text(), Not(::testing::HasSubstr("ALERT")));
}

TEST_F(ProgramLife, FirstLaunchSavesTheDefaults) {
    ServerProcess server({.environment = {{"FEEDLINE_EMULATOR_DEVICES", "none"}}});
    ASSERT_TRUE(server.log.waitFor("ALERT: "));
    EXPECT_EQ(server.end(SIGINT, "first launch"), 0);
    EXPECT_EQ(server.logLines().front(), "portToUse 50000");
    EXPECT_EQ(server.savedSettings(), (Settings{50000, 0, "127.0.0.1"}));
}

TEST_F(ProgramLife, APortInUseIsSaidAndEndsNothing) {
    const OwnedDescriptor taken = listenOn(port);
    ServerProcess server(launch(noReceiver, "none"));
    ASSERT_TRUE(server.output.waitFor("TCPThread bind failed. Error\n"));
    EXPECT_EQ(server.end(SIGTERM, "port in use"), 0);
    EXPECT_EQ(server.output.text(), "TCPThread Socket created\nTCPThread bind failed. Error\n");
    EXPECT_EQ(server.savedSettings(), (Settings{port, noReceiver, "127.0.0.1"}));
}

// Cut short it would be another address; so the launch ends, and the settings stay.
TEST_F(ProgramLife, AnAddressOf256CharactersEndsTheLaunchInALine) {
    for (const Program program : {Program::feedlined, Program::feedline}) {
        auto start = launch(noReceiver, "none", program);
        start.settings.address = std::string(256, '1');
        ServerProcess server(start);
        EXPECT_EQ(server.waitForExit(), -SIGABRT);
        auto lines = server.logLines();
        std::erase(lines, "<This plugin does not support propagateSizeHints()>"); // The display's.
        EXPECT_THAT(lines,
                    ElementsAre(portLine, "setting sdrUdpAdr holds 256 characters, more than the "
                                          "255 there is room for"));
        EXPECT_EQ(server.output.text(), "");
        EXPECT_EQ(server.savedSettings(), start.settings);
    }
}

TEST_F(ProgramLife, AnAddressOf255CharactersIsTakenWhole) {
    auto start = launch(noReceiver, "none");
    start.settings.address = std::string(255, '1');
    ServerProcess server(start);
    ASSERT_TRUE(server.output.waitFor("Waiting for incoming connections...\n"));
    EXPECT_EQ(server.end(SIGTERM, "the longest address"), 0);
    EXPECT_EQ(server.savedSettings(), start.settings);
}

TEST_F(ProgramLife, WithoutADisplayTheWindowIsRefusedInALine) {
    auto start = launch(noReceiver, "none", Program::feedline);
    start.environment["QT_QPA_PLATFORM"] = "nowhere";
    ServerProcess server(start);
    EXPECT_EQ(server.waitForExit(), 1);
    EXPECT_THAT(server.log.text(),
                ::testing::MatchesRegex("feedline: no display to show the window "
                                        "on .*: .+\n"));
    EXPECT_EQ(server.savedSettings(), (Settings{port, noReceiver, "127.0.0.1"}));
}

// feedline's alert is a modal box, and nobody is there to press its button.
TEST_F(ProgramLife, SignalsEndTheWindowUnderAnAlert) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ServerProcess server(launch(hf, "none", Program::feedline));
        ASSERT_TRUE(server.log.waitFor("n 0\n"));
        // The box comes up now, and does not show from outside; it must end well before, too.
        std::this_thread::sleep_for(signal == SIGTERM ? 500ms : 0ms);
        EXPECT_EQ(server.end(signal, "alert open"), 0);
        EXPECT_EQ(server.savedSettings(), (Settings{port, hf, "127.0.0.1"}));
    }
}

TEST_F(ProgramLife, SignalsEndAnIdleServer) {
    for (const Program program : {Program::feedlined, Program::feedline})
        for (const int signal : {SIGTERM, SIGINT}) {
            ServerProcess server(launch(noReceiver, "none", program));
            ASSERT_TRUE(server.output.waitFor("Waiting for incoming connections...\n"));
            EXPECT_EQ(server.end(signal, "idle"), 0);
            EXPECT_EQ(server.savedSettings(), (Settings{port, noReceiver, "127.0.0.1"}));
        }
}

TEST_F(ProgramLife, SignalsEndItWhileItWaitsToListenAgain) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ServerProcess server(launch(noReceiver, "none"));
        ControlConnection(port).close();
        ASSERT_TRUE(server.log.waitFor("SetUpTcpServerAfterDelay\n"));
        EXPECT_EQ(server.end(signal, "in the five seconds"), 0);
        EXPECT_EQ(server.savedSettings(), (Settings{port, noReceiver, "127.0.0.1"}));
    }
}

// The signals come blocked, as a parent may hand them on, so that they count from the first
// instruction on; the program takes them when it gets to it.
TEST_F(ProgramLife, SignalsAtAnyMomentOfTheStartLoseNothing) {
    std::mt19937 generator{4711};
    const std::map<Program, int> starts{{Program::feedlined, startOf(Program::feedlined)},
                                        {Program::feedline, startOf(Program::feedline)}};
    for (int i = 0; i < 30; ++i) {
        const Program program = i % 3 == 2 ? Program::feedline : Program::feedlined;
        auto start = launch(noReceiver, "none", program);
        start.signalsBlocked = true;
        ServerProcess server(start);
        std::uniform_int_distribution<int> microseconds(0, starts.at(program));
        const std::chrono::microseconds delay(microseconds(generator));
        std::this_thread::sleep_for(delay); // Any moment will do.
        EXPECT_EQ(server.end(i % 2 == 0 ? SIGTERM : SIGINT,
                             std::to_string(delay.count()) + " us after its start"),
                  0);
        EXPECT_EQ(server.savedSettings(), (Settings{port, noReceiver, "127.0.0.1"}));
    }
}

} // namespace
} // namespace feedline::test
