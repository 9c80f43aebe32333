// SPDX-License-Identifier: MIT
// What a session with either receiver is made of: who it is, its samples, its carrier, stop and
// run.
#include "ReceiverSession.h"

#include <gtest/gtest.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

struct Session : ReceiverSession, ::testing::WithParamInterface<ReceiverKind> {
    Session() : ReceiverSession(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Either, Session, ::testing::Values(hfKind(), airspyKind()),
                         [](const auto& info) { return std::string(info.param.device); });

TEST_P(Session, SaysWhatItIs) {
    const ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askName()), nameAnswer(kind.name));
    EXPECT_EQ(client.ask(askSerial()), serialAnswer());
    EXPECT_EQ(client.ask(askItem4()), item4Answer());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
}

// What is under way in the vendor's library when it stops is thrown away there.
TEST_P(Session, SendsWhatTheReceiverDeliversWithoutAGapOrAMissingPair) {
    const ControlConnection client(server.port());
    start(client);
    EXPECT_EQ(server.receiver.number(kind.device, "rate"), static_cast<long long>(kind.rate));
    const std::size_t begin = settledFrom();
    const std::size_t much = 20 * kind.datagramsPerTransfer;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(begin + much));
    ASSERT_EQ(client.ask(setState(stopState)), setState(stopState));
    const std::size_t last = delivered();
    const std::size_t underWay = 10 * kind.datagramsPerTransfer; // The library's queue and two.
    ASSERT_TRUE(server.datagrams.waitForDatagrams(last - underWay));
    EXPECT_LE(server.datagrams.counts().datagrams, last);
    expectNothingLost();
    expectSteadyCarrier(50000, begin, much);
}

TEST_P(Session, ACarrierIsWhereItIsAndFollowsTheTuningInMidStream) {
    const ControlConnection client(server.port());
    start(client);
    expectCarrier(50000, settledFrom());
    ASSERT_EQ(client.ask(setFrequency(kind.centre + 30000)), setFrequency(kind.centre + 30000));
    expectCarrier(20000, settledFrom());
    ASSERT_EQ(client.ask(setFrequency(kind.centre + 173456)), setFrequency(kind.centre + 173456));
    expectCarrier(-123456, settledFrom());
    expectNothingLost();
}

TEST_P(Session, StopEndsTheStreamAndTheNextRunGoesOnCounting) {
    const ControlConnection client(server.port());
    start(client);
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(running));
    ASSERT_TRUE(server.datagrams.waitForDatagrams(4 * kind.datagramsPerTransfer));
    ASSERT_EQ(client.ask(setState(stopState)), setState(stopState));
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    EXPECT_EQ(server.receiver.value(kind.device, "receiver-mode"), "0");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    const std::size_t before = server.datagrams.counts().datagrams;
    ASSERT_EQ(client.ask(setState(runState)), setState(runState));
    EXPECT_TRUE(server.datagrams.waitForDatagrams(before + 4 * kind.datagramsPerTransfer));
    expectNothingLost();
}

} // namespace
} // namespace feedline::test
