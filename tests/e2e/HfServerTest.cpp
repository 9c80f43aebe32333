// SPDX-License-Identifier: MIT
// What the HF+ alone has: the sample ring between the receiver and the network, which fills while
// nobody sends.
#include "ReceiverSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAreArray;
using ::testing::MatchesRegex;

struct HfServer : ReceiverSession {
    HfServer() : ReceiverSession(hfKind()) {}
};

// All that came in the five seconds without a server, the oldest first, and numbered from 0. A
// single pair missing at the seam would break the carrier's phase.
TEST_F(HfServer, TheNextClientGetsTheWholeBacklogFirstNumberedFromZero) {
    {
        const ControlConnection client(server.port());
        start(client);
        ASSERT_TRUE(server.datagrams.waitForDatagrams(500));
    }
    ASSERT_TRUE(server.process.output.waitFor("UDPThread exit\n"));
    EXPECT_TRUE(server.datagrams.waitForSilence(300ms));
    const std::size_t first = server.datagrams.counts().datagrams;

    const ControlConnection next(server.port());
    const std::size_t backlog = delivered() - first;
    EXPECT_GT(backlog, 1000U);
    EXPECT_EQ(next.ask(askStatus()), statusAnswer(running));
    ASSERT_TRUE(server.datagrams.waitForDatagrams(first + backlog));
    EXPECT_EQ(server.datagrams.arrivals().at(first).number, 0);
    expectNothingLost(1);
    const std::size_t settled = kind.settlingTransfers * kind.datagramsPerTransfer;
    expectSteadyCarrier(50000, settled, first + backlog - settled);
}

TEST_F(HfServer, EveryLineOfASession) {
    const std::string portLine = "portToUse " + std::to_string(server.port());
    const std::string accepted =
        "TCPThread Connection accepted [0-9]+  " + loopbackAsNumber() + "  127\\.0\\.0\\.1\r";
    const std::string listens = "TCPThread Socket created\nTCPThread bind done\n"
                                "TCPThread Waiting for incoming connections\\.\\.\\.\n";
    {
        ControlConnection client(server.port());
        EXPECT_EQ(client.ask(setFrequency(7100000)), setFrequency(7100000));
        EXPECT_EQ(client.ask(setSampleRate(768000)), setSampleRate(768000));
        EXPECT_EQ(client.ask(setState(runState)), setState(runState));
        ASSERT_TRUE(server.datagrams.waitForDatagrams(10));
        EXPECT_TRUE(client.send({0x02, 0x00}));
        EXPECT_EQ(client.ask(setState(stopState)), setState(stopState));
    }
    ASSERT_TRUE(server.process.output.waitFor("Waiting for incoming connections...\n", 2));
    ASSERT_TRUE(server.process.log.waitFor("*** UDP Thread  0\n", 2));
    EXPECT_THAT(server.process.output.text(),
                MatchesRegex(listens + accepted +
                             "TCPThread Client disconnected\nUDPThread exit\n" + listens));
    const std::uint64_t serial = std::stoull(server.receiver.value("hf", "serial"), nullptr, 16);
    std::array<char, 64> words{};
    std::snprintf(words.data(), words.size(), "%X %X 0 0", static_cast<unsigned>(serial >> 32U),
                  static_cast<unsigned>(serial));
    const std::vector<std::string> expected{
        portLine,
        "initAirspy",
        "n 1",
        "0 " + std::to_string(serial),
        "err 0",
        "err 0  numSampleRates 3",
        "rate 0  768000",
        "rate 1  384000",
        "rate 2  192000",
        "err 0  ppb 0",
        std::string("err 0  airspyhf_board_partid_serialno_read 65537 ") + words.data(),
        "err 0  airspyhf_version_string_read R1.0.0-EMULATED",
        "airspyhf_set_samplerate err 0  ",
        "airspyhf_set_freq err 0  ",
        "SetUpTcpServer",
        portLine,
        "*** UDP Thread  0",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 10 20",
        "set frequency 7100000   0 96 86 108 0 0",
        "airspyhf_set_freq err 0  ",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 9 b8",
        "set rate 768000   0 0 184 11 0",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   2   0",
        "airspyhf_start err 0  ",
        "NAK",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   1   0",
        "airspyhf_start err 0  ",
        "SetUpTcpServerAfterDelay",
        "SetUpTcpServer",
        portLine,
        "*** UDP Thread  0",
    };
    EXPECT_THAT(server.process.logLines(), ElementsAreArray(expected));
}

} // namespace
} // namespace feedline::test
