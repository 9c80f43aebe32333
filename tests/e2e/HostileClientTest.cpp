// SPDX-License-Identifier: MIT
// Clients that do what no client should. The server mostly runs without a receiver; every lost
// client costs it five real seconds, so there are few of them here.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"
#include "Loopback.h"
#include "ServerProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <random>
#include <thread>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

const Bytes nameAnswer{0x0B, 0x00, 0x01, 0x00, 'A', 'i', 'r', 'S', 'p', 'y', 0x00};
const Bytes serialAnswer{0x0E, 0x00, 0x02, 0x00, '1', '2', '3', '4', '5', '6', '7', '8', '9', 0x00};

struct HostileClient : ::testing::Test {
    ReservedPort local;
    const std::uint16_t port = local.number();
    ServerProcess server{{.settings = {port, noReceiver, "127.0.0.1"}}};

    void TearDown() override {
        EXPECT_TRUE(server.running());
        EXPECT_EQ(server.end(SIGTERM, "after the test"), 0);
    }

    void expectService() const {
        ControlConnection client(port);
        EXPECT_EQ(client.ask(askName()), nameAnswer);
    }

    bool waitForListener(int nth) const {
        return server.output.waitFor("TCPThread Waiting for incoming connections...\n", nth);
    }

    bool waitForGone(int nth) const { return server.output.waitFor("UDPThread exit\n", nth); }

    /// Waits until at most so many are open: threads that are about to end hold more for a moment.
    bool waitForDescriptors(int most) const {
        const auto end = std::chrono::steady_clock::now() + 30s;
        while (server.descriptors() > most && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(5ms);
        return server.descriptors() <= most;
    }
};

/// The serial number, after the answers to whatever noise happened to ask for.
Bytes answerAfterOthers(const ControlConnection& client) {
    client.send(askSerial());
    Bytes answer;
    do
        answer = client.receive();
    while (!answer.empty() && answer != serialAnswer);
    return answer;
}

Bytes noise(std::size_t length) {
    std::mt19937 generator{20240229};
    std::uniform_int_distribution<int> any(0, 255);
    Bytes bytes(length);
    for (std::uint8_t& byte : bytes)
        byte = static_cast<std::uint8_t>(any(generator));
    return bytes;
}

TEST_F(HostileClient, MegabytesOfNoiseLeaveAServerThatAnswers) {
    ControlConnection client(port);
    ASSERT_TRUE(client.send(noise(4 << 20)));
    EXPECT_TRUE(client.send(resynchronise()));
    EXPECT_EQ(answerAfterOthers(client), serialAnswer);
}

TEST_F(HostileClient, ClientsThatAskAndResetEndOnlyThemselves) {
    constexpr int rounds = 4;
    ASSERT_TRUE(waitForListener(1));
    const int descriptors = server.descriptors();
    for (int round = 1; round <= rounds; ++round) {
        ControlConnection served(port);
        ASSERT_EQ(served.ask(askName()), nameAnswer);
        // These wait behind it, and are gone before anybody accepts them.
        std::list<ControlConnection> waiting;
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(waiting.emplace_back(port).send(askSerial()));
        for (int i = 0; i < 200; ++i)
            served.send(askName());
        served.reset();
        for (ControlConnection& client : waiting)
            client.reset();
        ASSERT_TRUE(waitForListener(round + 1));
        ASSERT_TRUE(waitForGone(round));
        // One datagram socket a round stays behind by design, and nothing else. One more may be the
        // first sender's, if it had not been made when they were counted.
        EXPECT_TRUE(waitForDescriptors(descriptors + round + 1)) << server.descriptors();
    }
    expectService();
}

TEST_F(HostileClient, AClientThatAsksAndNeverReadsHoldsUpOnlyItself) {
    ControlConnection deaf(port);
    Bytes requests;
    for (int i = 0; i < 1000; ++i) {
        const Bytes one = askName();
        requests.insert(requests.end(), one.begin(), one.end());
    }
    // Answers are longer than requests, so that the server's writes fill every buffer between.
    deaf.sendUntilStuck(requests);
    ASSERT_TRUE(server.running());
    deaf.reset();
    ASSERT_TRUE(waitForListener(2)); // Before, a client would end up behind the other one.
    ControlConnection next(port);
    ASSERT_TRUE(next.send(resynchronise())); // The other was cut off anywhere.
    EXPECT_EQ(answerAfterOthers(next), serialAnswer);
}

TEST_F(HostileClient, ASecondClientWaitsUnansweredAndIsCutOffWithTheFirst) {
    ControlConnection first(port);
    ASSERT_EQ(first.ask(askName()), nameAnswer);
    ControlConnection second(port);
    ASSERT_TRUE(second.send(askName()));
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(first.ask(askSerial()), serialAnswer);
    EXPECT_FALSE(second.hasInput(200ms));
    first.close();
    EXPECT_TRUE(second.waitForEnd());
    expectService();
}

TEST_F(HostileClient, HalfAMessageIsCompletedByTheNextClient) {
    {
        ControlConnection half(port);
        ASSERT_EQ(half.ask(askName()), nameAnswer);
        ASSERT_TRUE(half.send({0x04, 0x20}));
    }
    ASSERT_TRUE(waitForListener(2));
    ControlConnection other(port);
    EXPECT_EQ(other.ask({0x02, 0x00}), serialAnswer);
}

// Nobody tells the server, which sends nothing of its own accord on the control connection.
TEST_F(HostileClient, AClientThatVanishesKeepsItsPlace) {
    ControlConnection gone(port);
    ASSERT_EQ(gone.ask(askName()), nameAnswer);
    if (!gone.vanish())
        GTEST_SKIP() << "closing a connection without a packet needs root";
    const ControlConnection next(port);
    ASSERT_TRUE(next.send(askName()));
    EXPECT_FALSE(next.hasInput(200ms));
    EXPECT_EQ(occurrences("TCPThread Client disconnected\n", server.output.text()), 0);
    EXPECT_EQ(occurrences("TCPThread recv failed\n", server.output.text()), 0);
}

TEST(VanishedClient, IsFollowedByTheNextOnceAnAnswerFindsNobody) {
    StreamedServer server(receiverHf);
    ControlConnection gone(server.port());
    ASSERT_EQ(gone.ask(askStatus()), statusAnswer(idle));
    server.receiver.tell("forget hf");
    server.receiver.tell("hang hf request:2");
    ASSERT_TRUE(gone.send(setFrequency(hfCentre)));
    EmulatorControl::until([&] { return server.receiver.calls("hf", 2) == 1; }, "the request");
    if (!gone.vanish())
        GTEST_SKIP() << "closing a connection without a packet needs root";
    server.receiver.tell("resume hf");
    ASSERT_TRUE(server.process.output.waitFor("TCPThread recv failed\n"));
    ASSERT_TRUE(
        server.process.output.waitFor("TCPThread Waiting for incoming connections...\n", 2));
    EXPECT_EQ(ControlConnection(server.port()).ask(askStatus()), statusAnswer(idle));
}

TEST_F(HostileClient, AClientThatLeavesAtOnceIsFollowedByTheNext) {
    ControlConnection(port).close();
    ASSERT_TRUE(waitForListener(2));
    EXPECT_EQ(occurrences("TCPThread Client disconnected\n", server.output.text()), 1);
    expectService();
}

} // namespace
} // namespace feedline::test
