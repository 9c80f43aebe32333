// SPDX-License-Identifier: MIT
#include "tools/probe/Session.h"

#include "ScriptedServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <numbers>
#include <sstream>
#include <thread>

using namespace feedline::probe;
using feedline::test::ScriptedServer;
namespace datagram = feedline::datagram;

namespace {

struct Recorded : Presenter {
    void second(const StreamFacts&, const Figures&) override {}
    void summary(const StreamFacts& theFacts, const Figures& theFigures) override {
        facts = theFacts;
        figures = theFigures;
    }
    StreamFacts facts;
    Figures figures;
};

// A session on a thread of its own, fed by the test.
class SessionTest : public testing::Test {
protected:
    void begin() {
        options.host = "127.0.0.1";
        options.port = server.port();
        options.bind = "127.0.0.1";
        options.timeout = 60;
        session_ = std::make_unique<Session>(options, recorded, notes);
        thread_ = std::thread([this] { status_ = session_->run(); });
        ASSERT_TRUE(server.waitForRun());
    }

    ExitStatus end() {
        session_->requestStop();
        return join();
    }

    ExitStatus join() {
        thread_.join();
        return status_;
    }

    void TearDown() override {
        if (thread_.joinable())
            end();
    }

    // Sends, and waits until the session has seen it: no buffer can overflow.
    void send(std::uint16_t number) {
        server.sendDatagram(number, samples);
        waitFor(++sent_);
    }

    void sendJunk(std::size_t length) {
        const std::vector<std::uint8_t> junk(length, 0x55);
        server.sendBytes(junk.data(), junk.size());
        waitFor(++sent_);
    }

    void waitFor(std::uint64_t seen) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        const auto arrived = [this] {
            const feedline::client::ReceptionFigures figures = session_->reception();
            return figures.counts.received + figures.counts.duplicated + figures.malformed;
        };
        while (arrived() < seen && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::yield();
        ASSERT_EQ(arrived(), seen);
    }

    const feedline::client::SequenceCounts& counts() const {
        return recorded.figures.reception.counts;
    }

    ScriptedServer server;
    Options options;
    Recorded recorded;
    std::ostringstream notes;
    ScriptedServer::Samples samples{};

private:
    std::unique_ptr<Session> session_;
    std::thread thread_;
    ExitStatus status_{};
    std::uint64_t sent_ = 0;
};

TEST_F(SessionTest, NothingLost) {
    begin();
    for (int step = 0; step < 200; ++step)
        send(static_cast<std::uint16_t>(65500 + step));
    EXPECT_EQ(end(), ExitStatus::success);
    EXPECT_EQ(counts().received, 200U);
    EXPECT_EQ(counts().lost, 0U);
    EXPECT_TRUE(server.waitForStop());
    EXPECT_EQ(recorded.facts.target, "AirSpyHF+");
}

TEST_F(SessionTest, LossReorderingAndDuplicates) {
    begin();
    for (const int number : {65533, 65534, 1, 0, 0, 2, 5})
        send(static_cast<std::uint16_t>(number));
    EXPECT_EQ(end(), ExitStatus::samplesLost);
    EXPECT_EQ(counts().received, 6U);
    EXPECT_EQ(counts().lost, 3U); // 65535, 3, 4
    EXPECT_EQ(counts().reordered, 1U);
    EXPECT_EQ(counts().duplicated, 1U);
    EXPECT_NE(notes.str().find("lost 3 datagrams"), std::string::npos) << notes.str();
}

TEST_F(SessionTest, DatagramsOfAnotherFormAreOnlyCounted) {
    begin();
    send(7);
    sendJunk(datagram::size - 1);
    sendJunk(datagram::size + 1);
    sendJunk(datagram::size);
    sendJunk(2);
    sendJunk(0);
    send(8);
    EXPECT_EQ(end(), ExitStatus::success);
    EXPECT_EQ(recorded.figures.reception.malformed, 5U);
    EXPECT_EQ(counts().received, 2U);
}

TEST_F(SessionTest, MeasuresLevelAndCarrier) {
    options.tune = 7100000;
    options.rate = 768000;
    begin();
    double phase = 0;
    for (std::uint16_t number = 0; number < 64; ++number) {
        for (std::size_t pair = 0; pair < datagram::pairs; ++pair) {
            samples[2 * pair] = static_cast<std::int16_t>(std::lround(3276.7 * std::cos(phase)));
            samples[2 * pair + 1] =
                static_cast<std::int16_t>(std::lround(3276.7 * std::sin(phase)));
            phase += 2 * std::numbers::pi * 50000 / 768000;
        }
        send(number);
    }
    EXPECT_EQ(end(), ExitStatus::success);
    const Figures& figures = recorded.figures;
    EXPECT_NEAR(figures.levels[0].dBFS, -20, 0.05);
    EXPECT_NEAR(figures.levels[1].dBFS, -20, 0.05);
    ASSERT_TRUE(figures.carrier);
    EXPECT_NEAR(figures.carrier->offset, 50000, 10);
    EXPECT_NEAR(figures.carrier->dBFS, -20, 0.1);
    EXPECT_EQ(recorded.facts.frequency, 7100000U);
    EXPECT_TRUE(server.waitForMessage({10, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0}));
}

TEST_F(SessionTest, ServerThatGoesAway) {
    begin();
    send(0);
    server.hangUp();
    EXPECT_EQ(join(), ExitStatus::connectionLost);
    EXPECT_EQ(counts().received, 1U);
    EXPECT_NE(notes.str().find("closed the connection"), std::string::npos) << notes.str();
}

TEST_F(SessionTest, NothingComes) {
    begin();
    EXPECT_EQ(end(), ExitStatus::nothingReceived);
    EXPECT_NE(notes.str().find("no datagrams came"), std::string::npos) << notes.str();
}

TEST_F(SessionTest, EndsByItselfAfterTheTimeAskedFor) {
    options.seconds = 0.05;
    begin();
    EXPECT_EQ(join(), ExitStatus::nothingReceived);
    EXPECT_TRUE(server.waitForStop());
}

TEST_F(SessionTest, TwoOnOnePort) {
    begin();
    Recorded recorded;
    try {
        const Session second(options, recorded, notes);
        FAIL() << "was not refused";
    } catch (const feedline::client::Failure& failure) {
        EXPECT_EQ(failure.trouble, feedline::client::Trouble::portInUse);
    }
}

} // namespace
