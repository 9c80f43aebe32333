// SPDX-License-Identifier: MIT
// A signal ends the programs well while the receiver is in the middle of something.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"

#include <gtest/gtest.h>

#include <string>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

constexpr Program programs[] = {Program::feedlined, Program::feedline};
constexpr int signals[] = {SIGTERM, SIGINT};

void expectGoodEnd(StreamedServer& server, int signal, const std::string& moment) {
    EXPECT_EQ(server.process.end(signal, moment), 0);
    EXPECT_EQ(server.process.savedSettings(), server.settings);
}

void stream(StreamedServer& server, ControlConnection& client) {
    ASSERT_EQ(client.ask(setState(2)), setState(2));
    ASSERT_TRUE(server.datagrams.waitForDatagrams(300));
}

TEST(StreamingEnd, WhileStreaming) {
    for (const Program program : programs)
        for (const int signal : signals)
            for (const int type : {receiverHf, receiverAirspy}) {
                StreamedServer server(type, {.devices = "hf,airspy", .program = program});
                ControlConnection client(server.port());
                stream(server, client);
                expectGoodEnd(server, signal,
                              type == receiverHf ? "HF+ streams" : "AirSpy streams");
            }
}

TEST(StreamingEnd, WithABacklogPending) {
    for (const int signal : signals) {
        StreamedServer server(receiverHf);
        {
            ControlConnection client(server.port());
            stream(server, client);
        }
        ASSERT_TRUE(server.process.log.waitFor("SetUpTcpServerAfterDelay\n"));
        ASSERT_TRUE(server.process.output.waitFor("UDPThread exit\n"));
        expectGoodEnd(server, signal, "backlog pending, in the five seconds");
    }
}

TEST(StreamingEnd, WhileARequestHangsOnTheMainThread) {
    for (const Program program : programs)
        for (const char* point : {"open", "claim", "request:3", "request:4", "request:9"}) {
            StreamedServer server(
                receiverHf,
                {.faults = std::string("hang hf ") + point + " always", .program = program});
            ASSERT_TRUE(server.process.log.waitFor("initAirspy\n"));
            expectGoodEnd(server, SIGTERM, std::string("launch hangs in ") + point);
        }
}

TEST(StreamingEnd, WhileARequestHangsOnTheTcpThread) {
    for (const Program program : programs)
        for (const int type : {receiverHf, receiverAirspy}) {
            const std::string device = type == receiverHf ? "hf" : "airspy";
            StreamedServer server(type, {.devices = device, .program = program});
            ControlConnection client(server.port());
            ASSERT_EQ(client.ask(askStatus()), statusAnswer(idle));
            server.receiver.tell("hang " + device + " request:1 always");
            ASSERT_TRUE(client.send(setState(2)));
            ASSERT_TRUE(server.process.log.waitFor("set state 128   2   0\n"));
            expectGoodEnd(server, SIGTERM, device + " hangs in start");
        }
}

TEST(StreamingEnd, WhileAClientsTuningHasAnAlertOpen) {
    for (const int signal : signals) {
        StreamedServer server(receiverAirspy, {.devices = "airspy", .program = Program::feedline});
        ControlConnection client(server.port());
        ASSERT_EQ(client.ask(askStatus()), statusAnswer(idle));
        server.receiver.tell("fail airspy request:13 io always");
        ASSERT_TRUE(client.send(setFrequency(airspyCentre)));
        ASSERT_TRUE(server.process.log.waitFor("airspy_set_freq err -1000  \n"));
        // The box stays up, and the answer away, until somebody presses its button.
        EXPECT_FALSE(client.hasInput(300ms));
        expectGoodEnd(server, signal, "alert open for a client's tuning");
    }
}

TEST(StreamingEnd, WhileStopWaitsForAReceiverThatSaysNothing) {
    StreamedServer server(receiverHf);
    ControlConnection client(server.port());
    stream(server, client);
    server.receiver.tell("hang hf request:1 always");
    ASSERT_TRUE(client.send(setState(1)));
    ASSERT_TRUE(server.process.log.waitFor("set state 128   1   0\n"));
    expectGoodEnd(server, SIGTERM, "stop hangs");
}

} // namespace
} // namespace feedline::test
