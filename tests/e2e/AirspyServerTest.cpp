// SPDX-License-Identifier: MIT
// What the AirSpy alone has: it sends from the receiver's callback, whether a client is there or
// not, and tells its samples every second.
#include "ReceiverSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <utility>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAreArray;

constexpr std::size_t block = 256; // datagrams

struct AirspyServer : ReceiverSession {
    AirspyServer() : ReceiverSession(airspyKind()) {}

    /// The counts of the once-a-second lines so far, with the stream's state before each.
    std::vector<std::pair<int, int>> secondLines() const {
        std::vector<std::pair<int, int>> result;
        for (const std::string& line : server.process.logLines()) {
            int streaming = 0;
            int samples = 0;
            if (std::sscanf(line.c_str(), "iStreaming %d  samples: %d", &streaming, &samples) == 2)
                result.emplace_back(streaming, samples);
        }
        return result;
    }
};

TEST_F(AirspyServer, NumbersRunOnWhenTheClientGoesAndForTheNextClient) {
    start(ControlConnection(server.port()));
    ASSERT_TRUE(server.process.output.waitFor("TCPThread Client disconnected\n"));
    std::size_t before = server.datagrams.counts().datagrams;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 4 * block)); // Nobody is there.
    const ControlConnection next(server.port());
    EXPECT_EQ(next.ask(askStatus()), statusAnswer(running));
    before = server.datagrams.counts().datagrams;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 4 * block));
    expectNothingLost();
}

TEST_F(AirspyServer, OnceASecondItLogsTheSamplesOfTheSecond) {
    ASSERT_TRUE(server.process.log.waitFor("iStreaming 0  samples: 0\n"));
    const ControlConnection client(server.port());
    start(client);
    ASSERT_TRUE(server.process.log.waitFor("iStreaming 1  samples: ", 3));
    ASSERT_EQ(client.ask(setState(stopState)), setState(stopState));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    const ReceivedStream::Counts counts = server.datagrams.counts();
    // Two ticks after the end: one that may still have counted, one that cannot.
    const int ticks = static_cast<int>(secondLines().size());
    ASSERT_TRUE(server.process.log.waitFor("iStreaming ", ticks + 2));
    const auto lines = secondLines();
    std::size_t counted = 0;
    for (const auto& [streaming, samples] : lines) {
        EXPECT_EQ(samples % 65536, 0) << "whole blocks";
        counted += static_cast<std::size_t>(samples);
    }
    EXPECT_EQ(lines.front(), std::pair(0, 0));
    EXPECT_EQ(lines.back(), std::pair(0, 0));
    // A block counted at the very moment of a tick may be lost to both.
    EXPECT_NEAR(static_cast<double>(counted),
                static_cast<double>(counts.datagrams + counts.lost) * 256, 2 * 65536.0);
    EXPECT_GT(counted, 4 * 65536U);
}

TEST_F(AirspyServer, EveryLineOfASession) {
    const std::string portLine = "portToUse " + std::to_string(server.port());
    {
        ControlConnection client(server.port());
        start(client);
        ASSERT_TRUE(server.datagrams.waitForDatagrams(block));
        ASSERT_EQ(client.ask(setState(stopState)), setState(stopState));
    }
    ASSERT_TRUE(server.process.log.waitFor("SetUpTcpServerAfterDelay\n"));
    const std::uint64_t serial =
        std::stoull(server.receiver.value("airspy", "serial"), nullptr, 16);
    std::array<char, 64> words{};
    std::snprintf(words.data(), words.size(), "%X %X", static_cast<unsigned>(serial >> 32U),
                  static_cast<unsigned>(serial));
    const std::vector<std::string> expected{
        portLine,
        "n 1",
        "0 " + std::to_string(serial),
        "err 0",
        "airspy_set_sample_type err 0  ",
        "err 0  numSampleRates 2",
        "rate 0  10000000",
        "rate 1  2500000",
        "airspy_set_samplerate err 0  ",
        std::string("err 0  airspy_board_partid_serialno_read 1762000939 48 0 0 ") + words.data(),
        "err 0  airspy_version_string_read AirSpy EMULATED v1.0.0",
        "airspy_set_packing err 0  ",
        "airspy_set_rf_bias err 0  ",
        "SetUpTcpServer",
        portLine,
        "*** UDP Thread  0",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 10 20",
        "set frequency 100000000   0 0 225 245 5 0",
        "airspy_set_freq err 0  ",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   2   0",
        "airspyhf_start err 0  ",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   1   0",
        "airspyhf_start err 0  ",
        "SetUpTcpServerAfterDelay",
    };
    EXPECT_THAT(linesOf(server.process), ElementsAreArray(expected));
}

} // namespace
} // namespace feedline::test
