// SPDX-License-Identifier: MIT
#include "tools/client/ControlClient.h"

#include "ScriptedServer.h"
#include "tools/client/Failure.h"

#include <gtest/gtest.h>

#include <sys/eventfd.h>

using namespace feedline::client;
using feedline::test::Bytes;
using feedline::test::ScriptedServer;
using Answer = ScriptedServer::Answer;

namespace {

constexpr Seconds longLimit{60};
constexpr Seconds shortLimit{0.2};

ControlClient connectTo(const ScriptedServer& server, Seconds timeout = longLimit) {
    return ControlClient({"127.0.0.1", server.port(), ""}, {timeout, Seconds(0)});
}

template <typename Action>
void expectFailure(Trouble status, const char* words, Action action) {
    try {
        action();
        FAIL() << "did not fail";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.trouble, status);
        EXPECT_NE(std::string(failure.what()).find(words), std::string::npos) << failure.what();
    }
}

TEST(ControlClientTest, ReadsWhatTheServerTells) {
    ScriptedServer server;
    ControlClient client = connectTo(server);
    EXPECT_EQ(client.targetName(), "AirSpyHF+");
    EXPECT_EQ(client.serialNumber(), "123456789");
    EXPECT_EQ(client.item0004(), 123);
    EXPECT_EQ(client.status(), 11);
    EXPECT_GT(client.roundTrip().count(), 0);
    const std::vector<Bytes> expected{
        {4, 0x20, 1, 0}, {4, 0x20, 2, 0}, {4, 0x20, 4, 0}, {4, 0x20, 5, 0}};
    ASSERT_TRUE(server.waitForMessage(expected.back()));
    EXPECT_EQ(server.messages(), expected);
}

TEST(ControlClientTest, SetsStateAndFrequency) {
    ScriptedServer server;
    ControlClient client = connectTo(server);
    client.setRunning(true);
    client.setFrequency(0x12345678);
    client.setRunning(false);
    const std::vector<Bytes> expected{{8, 0, 0x18, 0, 0x80, 2, 0, 0},
                                      {10, 0, 0x20, 0, 0, 0x78, 0x56, 0x34, 0x12, 0},
                                      {8, 0, 0x18, 0, 0x80, 1, 0, 0}};
    ASSERT_TRUE(server.waitForStop());
    EXPECT_EQ(server.messages(), expected);
}

TEST(ControlClientTest, NobodyListens) {
    std::uint16_t port = 0;
    {
        const ScriptedServer server;
        port = server.port();
    }
    expectFailure(Trouble::noServer, "refused", [port] {
        const ControlClient client({"127.0.0.1", port, ""}, {longLimit, Seconds(0)});
    });
}

TEST(ControlClientTest, UnknownHost) {
    expectFailure(Trouble::noServer, "cannot find", [] {
        const ControlClient client({"host.invalid", 1, ""}, {longLimit, Seconds(0)});
    });
}

TEST(ControlClientTest, ServerThatNeverAnswers) {
    ScriptedServer server([](const Bytes&) { return Answer{}; });
    ControlClient client = connectTo(server, shortLimit);
    expectFailure(Trouble::noAnswer, "does not answer", [&] { client.targetName(); });
}

// The connection is made by the system alone; the server is busy with the first.
TEST(ControlClientTest, SecondClientIsLeftWaiting) {
    ScriptedServer server;
    ControlClient first = connectTo(server);
    first.status();
    ControlClient second = connectTo(server, shortLimit);
    expectFailure(Trouble::noAnswer, "another client", [&] { second.status(); });
    EXPECT_EQ(first.status(), 11);
}

TEST(ControlClientTest, ServerThatDiesInMidMessage) {
    ScriptedServer server([](const Bytes&) { return Answer{{14, 0, 1, 0, 'A', 'i'}, true}; });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::noAnswer, "middle of an answer", [&] { client.targetName(); });
}

TEST(ControlClientTest, ServerThatStopsInMidMessage) {
    ScriptedServer server([](const Bytes&) { return Answer{{14, 0, 1, 0, 'A', 'i'}, false}; });
    ControlClient client = connectTo(server, shortLimit);
    expectFailure(Trouble::noAnswer, "middle of an answer", [&] { client.targetName(); });
}

TEST(ControlClientTest, ServerThatHangsUp) {
    ScriptedServer server([](const Bytes&) { return Answer{{}, true}; });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::noAnswer, "closed the connection", [&] { client.targetName(); });
}

TEST(ControlClientTest, AnswerToSomethingElse) {
    ScriptedServer server([](const Bytes&) { return Answer{{5, 0, 5, 0, 12}, false}; });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::noAnswer, "something else", [&] { client.targetName(); });
    EXPECT_EQ(client.status(), 12);
}

TEST(ControlClientTest, AnswerOfTheWrongSize) {
    ScriptedServer server([](const Bytes& message) {
        return Answer{ScriptedServer::reply(message, {1, 2, 3}), false};
    });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::noAnswer, "3 bytes", [&] { client.item0004(); });
    expectFailure(Trouble::noAnswer, "3 bytes", [&] { client.status(); });
}

TEST(ControlClientTest, EchoThatDiffers) {
    ScriptedServer server([](const Bytes& message) {
        Bytes changed = message;
        changed.back() ^= 1;
        return Answer{changed, false};
    });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::noAnswer, "confirm", [&] { client.setFrequency(1); });
}

TEST(ControlClientTest, NoticesTheEndOfTheConnection) {
    ScriptedServer server;
    ControlClient client = connectTo(server);
    client.status();
    EXPECT_TRUE(client.alive());
    server.hangUp();
    expectFailure(Trouble::noAnswer, "closed", [&] { client.status(); });
    EXPECT_FALSE(client.alive());
}

TEST(ControlClientTest, HubTellsItsRate) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        if (message[2] == 0xB8)
            return {{9, 0, 0xB8, 0, 0, 0x00, 0xB8, 0x0B, 0x00}, false};
        return ScriptedServer::properAnswer(message);
    });
    ControlClient client = connectTo(server);
    EXPECT_EQ(client.sampleRate(), 768000U);
    EXPECT_EQ(client.status(), statusIdle);
    ASSERT_TRUE(server.waitForMessage({4, 0x20, 5, 0}));
    EXPECT_EQ(server.messages().front(), (Bytes{5, 0x20, 0xB8, 0, 0}));
}

TEST(ControlClientTest, ServerTellsNoRateAndNothingIsWaitedFor) {
    ScriptedServer server;
    ControlClient client = connectTo(server);
    EXPECT_EQ(client.sampleRate(), std::nullopt);
    EXPECT_EQ(client.targetName(), "AirSpyHF+");
}

TEST(ControlClientTest, RateThatIsRefusedIsNone) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        return message[2] == 0xB8 ? Answer{{2, 0}, false} : ScriptedServer::properAnswer(message);
    });
    ControlClient client = connectTo(server);
    EXPECT_EQ(client.sampleRate(), std::nullopt);
    EXPECT_EQ(client.status(), statusIdle);
}

TEST(ControlClientTest, RateThatIsNone) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        return message[2] == 0xB8 ? Answer{{6, 0, 0xB8, 0, 1, 2}, false}
                                  : ScriptedServer::properAnswer(message);
    });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::noAnswer, "2 bytes", [&] { client.sampleRate(); });
}

TEST(ControlClientTest, SetsTheRateAndTakesTheEcho) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        return {ScriptedServer::reply(message, {0, 0x80, 0xBB, 0, 0}), false};
    });
    ControlClient client = connectTo(server);
    EXPECT_EQ(client.setSampleRate(48001), 48000U);
    EXPECT_TRUE(server.waitForMessage({9, 0, 0xB8, 0, 0, 0x81, 0xBB, 0, 0}));
}

TEST(ControlClientTest, RefusalIsToldAndTheConnectionGoesOn) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        return message[2] == 0x18 ? Answer{{2, 0}, false} : ScriptedServer::properAnswer(message);
    });
    ControlClient client = connectTo(server);
    expectFailure(Trouble::refused, "refused", [&] { client.setRunning(true); });
    EXPECT_EQ(client.status(), statusIdle);
}

TEST(ControlClientTest, ComesFromTheAddressItIsTold) {
    ScriptedServer server;
    ControlClient client({"127.0.0.1", server.port(), "127.0.0.9"}, {longLimit, Seconds(0)});
    EXPECT_EQ(client.localAddress(), "127.0.0.9");
    EXPECT_EQ(client.status(), statusIdle);
}

TEST(ControlClientTest, AddressThatIsNotThisMachines) {
    ScriptedServer server;
    expectFailure(Trouble::portInUse, "192.0.2.1", [&] {
        const ControlClient client({"127.0.0.1", server.port(), "192.0.2.1"}, {});
    });
    expectFailure(Trouble::badAddress, "here", [&] {
        const ControlClient client({"127.0.0.1", server.port(), "here"}, {});
    });
}

TEST(ControlClientTest, EveryWaitCanBeCancelled) {
    ScriptedServer server([](const Bytes&) { return Answer{}; });
    const UniqueFd cancel(eventfd(0, EFD_CLOEXEC));
    ControlClient client({"127.0.0.1", server.port(), ""}, {longLimit, longLimit, cancel.get()});
    eventfd_write(cancel.get(), 1);
    expectFailure(Trouble::cancelled, "cancelled", [&] { client.targetName(); });
}

TEST(ControlClientTest, LeavingStopsTheReceiverWhateverIsOutstanding) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        return message[1] == 0x20 ? Answer{} : ScriptedServer::properAnswer(message);
    });
    ControlClient client = connectTo(server, shortLimit);
    expectFailure(Trouble::noAnswer, "does not answer", [&] { client.targetName(); });
    client.stopAndLeave(longLimit);
    EXPECT_TRUE(server.waitForStop());
}

} // namespace
