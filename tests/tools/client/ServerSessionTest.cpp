// SPDX-License-Identifier: MIT
#include "tools/client/ServerSession.h"

#include "ScriptedServer.h"
#include "tools/client/Failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

using namespace feedline::client;
using feedline::test::Bytes;
using feedline::test::ScriptedServer;
using Answer = ScriptedServer::Answer;
using Kind = ServerSession::Event::Kind;

namespace {

constexpr Seconds longLimit{60};
const Bytes run{8, 0, 0x18, 0, 0x80, 2, 0, 0};
const Bytes stop{8, 0, 0x18, 0, 0x80, 1, 0, 0};

// Events, and a way to wait for one.
class Events {
public:
    void add(const ServerSession::Event& event) {
        {
            const std::lock_guard lock(mutex_);
            events_.push_back(event);
        }
        changed_.notify_all();
    }
    bool wait(Kind kind, unsigned count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, longLimit, [&] {
            return std::ranges::any_of(
                events_, [&](const auto& e) { return e.kind == kind && e.count >= count; });
        });
    }
    std::string line(Kind kind) {
        const std::lock_guard lock(mutex_);
        const auto found =
            std::ranges::find_if(events_, [&](const auto& e) { return e.kind == kind; });
        return found == events_.end() ? "" : found->line;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<ServerSession::Event> events_;
};

class ServerSessionTest : public testing::Test {
protected:
    ServerSession::Settings settings(std::uint16_t port) {
        ServerSession::Settings settings;
        settings.endpoint.port = port;
        settings.timeout = longLimit;
        settings.firstPause = Seconds(0.01);
        settings.longestPause = Seconds(0.05);
        settings.silence = Seconds(0);
        return settings;
    }
    ServerSession::Observer observer() {
        return [this](const ServerSession::Event& event) {
            events.add(event);
        };
    }
    static std::ptrdiff_t countOf(ScriptedServer& server, const Bytes& message) {
        const auto messages = server.messages();
        return std::ranges::count(messages, message);
    }

    Events events;
};

TEST_F(ServerSessionTest, ConnectsAndTellsWhoIsThere) {
    ScriptedServer server;
    ServerSession session(settings(server.port()), observer());
    EXPECT_EQ(session.settle(longLimit), "");
    ASSERT_TRUE(session.facts());
    EXPECT_EQ(session.facts()->name, "AirSpyHF+");
    EXPECT_EQ(session.facts()->localAddress, "127.0.0.1");
    EXPECT_FALSE(session.facts()->isHub());
    EXPECT_TRUE(session.connected());
    EXPECT_EQ(session.connections(), 1U);
    EXPECT_EQ(session.apart().count(), 0);
    EXPECT_TRUE(events.wait(Kind::connected, 1));
}

TEST_F(ServerSessionTest, BringsInForceWhatIsWanted) {
    ScriptedServer server;
    ServerSession session(settings(server.port()));
    session.setFrequency(7100000);
    session.setSampleRate(48000); // not asked of a server
    session.setRunning(true);
    EXPECT_EQ(session.settle(longLimit), "");
    ASSERT_TRUE(server.waitForRun());
    const auto messages = server.messages();
    const Bytes tune{10, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0};
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(messages[messages.size() - 2], tune);
    EXPECT_EQ(messages.back(), run);
}

TEST_F(ServerSessionTest, TheEndStopsARunningReceiver) {
    ScriptedServer server;
    {
        ServerSession session(settings(server.port()));
        session.setRunning(true);
        EXPECT_EQ(session.settle(longLimit), "");
    }
    EXPECT_TRUE(server.waitForStop());
}

TEST_F(ServerSessionTest, TheEndLeavesAnIdleReceiverAlone) {
    ScriptedServer server;
    {
        ServerSession session(settings(server.port()));
        EXPECT_EQ(session.settle(longLimit), "");
    }
    EXPECT_EQ(countOf(server, stop), 0);
}

TEST_F(ServerSessionTest, HubIsAskedForARateAndItsEchoCounts) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        if (message[1] == 0x20 && message[2] == 0x20)
            return {{10, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0}, false}; // 7100000
        if (message[2] != 0xB8)
            return ScriptedServer::properAnswer(message);
        if (message[1] == 0x20)
            return {{9, 0, 0xB8, 0, 0, 0, 0xB8, 0x0B, 0}, false}; // 768000
        return {{9, 0, 0xB8, 0, 0, 0x80, 0xBB, 0, 0}, false};     // 48000
    });
    ServerSession session(settings(server.port()));
    EXPECT_EQ(session.settle(longLimit), "");
    EXPECT_EQ(session.facts()->hubRate, 768000U);
    session.setSampleRate(48001);
    EXPECT_EQ(session.settle(longLimit), "");
    EXPECT_EQ(session.facts()->hubRate, 48000U);
    EXPECT_TRUE(server.waitForMessage({9, 0, 0xB8, 0, 0, 0x81, 0xBB, 0, 0}));
}

TEST_F(ServerSessionTest, WaitsForAServerThatIsNotThereYet) {
    std::uint16_t port = 0;
    {
        const ScriptedServer server;
        port = server.port();
    }
    ServerSession session(settings(port), observer());
    EXPECT_TRUE(events.wait(Kind::apart, 3));
    EXPECT_NE(session.settle(Seconds(0.01)).find("refused"), std::string::npos);
    EXPECT_FALSE(session.connected());
    EXPECT_GT(session.apart().count(), 0);
}

TEST_F(ServerSessionTest, DoesItAllAgainAfterAReconnection) {
    std::atomic<bool> once = true;
    ScriptedServer server([&once](const Bytes& message) -> Answer {
        const bool hangUp = message[2] == 0x20 && once.exchange(false);
        return {ScriptedServer::properAnswer(message).bytes, hangUp};
    });
    ServerSession session(settings(server.port()), observer());
    session.setFrequency(7100000);
    session.setRunning(true);
    EXPECT_TRUE(events.wait(Kind::connected, 2));
    EXPECT_EQ(session.settle(longLimit), "");
    ASSERT_TRUE(server.waitForRun());
    EXPECT_EQ(countOf(server, {10, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0}), 2);
    EXPECT_GE(countOf(server, run), 1);
    EXPECT_EQ(session.connections(), 2U);
    EXPECT_NE(events.line(Kind::apart).find("closed the connection"), std::string::npos);
}

TEST_F(ServerSessionTest, TheEndInterruptsAnAnswerThatDoesNotCome) {
    ScriptedServer server([](const Bytes&) { return Answer{}; });
    const auto begin = std::chrono::steady_clock::now();
    {
        ServerSession session(settings(server.port()));
        ASSERT_TRUE(server.waitForMessage({4, 0x20, 1, 0}));
        EXPECT_NE(session.settle(Seconds(0.01)).find("does not answer"), std::string::npos);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, longLimit);
}

// The answer to the frequency never comes; the receiver is stopped nevertheless.
TEST_F(ServerSessionTest, TheEndStopsTheReceiverEvenInMidQuestion) {
    ScriptedServer server([](const Bytes& message) -> Answer {
        return message[2] == 0x20 ? Answer{} : ScriptedServer::properAnswer(message);
    });
    {
        ServerSession session(settings(server.port()));
        session.setRunning(true);
        EXPECT_EQ(session.settle(longLimit), "");
        session.setFrequency(1);
        ASSERT_TRUE(server.waitForMessage({10, 0, 0x20}));
    }
    EXPECT_TRUE(server.waitForStop());
}

TEST_F(ServerSessionTest, StopsAndRunsAReceiverThatFallsSilent) {
    ScriptedServer server;
    auto settings = this->settings(server.port());
    settings.silence = Seconds(0.02);
    settings.longestSilence = Seconds(0.1);
    ServerSession session(settings, observer());
    session.setRunning(true);
    EXPECT_TRUE(events.wait(Kind::silent, 3));
    EXPECT_GE(countOf(server, stop), 1);
    EXPECT_GE(countOf(server, run), 2);
    std::atomic<bool> over = false;
    std::thread samples([&] {
        while (!over) {
            session.noteSamples();
            std::this_thread::yield();
        }
    });
    EXPECT_TRUE(events.wait(Kind::resumed, 1));
    over = true;
    samples.join();
}

TEST_F(ServerSessionTest, OnlyTheLastOfManyWishesCounts) {
    ScriptedServer server;
    ServerSession session(settings(server.port()));
    for (std::uint32_t hertz = 1; hertz <= 1000; ++hertz)
        session.setFrequency(hertz);
    EXPECT_EQ(session.settle(longLimit), "");
    EXPECT_TRUE(server.waitForMessage({10, 0, 0x20, 0, 0, 0xE8, 0x03, 0, 0, 0}));
    EXPECT_LT(server.messages().size(), 1000U);
}

} // namespace
