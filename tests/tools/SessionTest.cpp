#include "probe/Session.h"

#include "ScriptedServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <numbers>
#include <sstream>
#include <thread>

using namespace feedline::probe;
using feedline::testing::ScriptedServer;
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
        m_options.host = "127.0.0.1";
        m_options.port = m_server.port();
        m_options.bind = "127.0.0.1";
        m_options.timeout = 60;
        m_session = std::make_unique<Session>(m_options, m_recorded, m_notes);
        m_thread = std::thread([this] { m_status = m_session->run(); });
        ASSERT_TRUE(m_server.waitForRun());
    }

    ExitStatus end() {
        m_session->requestStop();
        return join();
    }

    ExitStatus join() {
        m_thread.join();
        return m_status;
    }

    void TearDown() override {
        if (m_thread.joinable())
            end();
    }

    // Sends, and waits until the session has seen it: no buffer can overflow.
    void send(std::uint16_t number) {
        m_server.sendDatagram(number, m_samples);
        waitFor(++m_sent);
    }

    void sendJunk(std::size_t length) {
        const std::vector<std::uint8_t> junk(length, 0x55);
        m_server.sendBytes(junk.data(), junk.size());
        waitFor(++m_sent);
    }

    void waitFor(std::uint64_t seen) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        const auto arrived = [this] {
            const ReceptionFigures figures = m_session->reception();
            return figures.counts.received + figures.counts.duplicated + figures.malformed;
        };
        while (arrived() < seen && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::yield();
        ASSERT_EQ(arrived(), seen);
    }

    const SequenceCounts& counts() const { return m_recorded.figures.reception.counts; }

    ScriptedServer m_server;
    Options m_options;
    Recorded m_recorded;
    std::ostringstream m_notes;
    ScriptedServer::Samples m_samples{};

private:
    std::unique_ptr<Session> m_session;
    std::thread m_thread;
    ExitStatus m_status{};
    std::uint64_t m_sent = 0;
};

TEST_F(SessionTest, NothingLost) {
    begin();
    for (int step = 0; step < 200; ++step)
        send(static_cast<std::uint16_t>(65500 + step));
    EXPECT_EQ(end(), ExitStatus::Success);
    EXPECT_EQ(counts().received, 200U);
    EXPECT_EQ(counts().lost, 0U);
    EXPECT_TRUE(m_server.waitForStop());
    EXPECT_EQ(m_recorded.facts.target, "AirSpyHF+");
}

TEST_F(SessionTest, LossReorderingAndDuplicates) {
    begin();
    for (const int number : {65533, 65534, 1, 0, 0, 2, 5})
        send(static_cast<std::uint16_t>(number));
    EXPECT_EQ(end(), ExitStatus::SamplesLost);
    EXPECT_EQ(counts().received, 6U);
    EXPECT_EQ(counts().lost, 3U); // 65535, 3, 4
    EXPECT_EQ(counts().reordered, 1U);
    EXPECT_EQ(counts().duplicated, 1U);
    EXPECT_NE(m_notes.str().find("lost 3 datagrams"), std::string::npos) << m_notes.str();
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
    EXPECT_EQ(end(), ExitStatus::Success);
    EXPECT_EQ(m_recorded.figures.reception.malformed, 5U);
    EXPECT_EQ(counts().received, 2U);
}

TEST_F(SessionTest, MeasuresLevelAndCarrier) {
    m_options.tune = 7100000;
    m_options.rate = 768000;
    begin();
    double phase = 0;
    for (std::uint16_t number = 0; number < 64; ++number) {
        for (std::size_t pair = 0; pair < datagram::pairs; ++pair) {
            m_samples[2 * pair] = static_cast<std::int16_t>(std::lround(3276.7 * std::cos(phase)));
            m_samples[2 * pair + 1] =
                static_cast<std::int16_t>(std::lround(3276.7 * std::sin(phase)));
            phase += 2 * std::numbers::pi * 50000 / 768000;
        }
        send(number);
    }
    EXPECT_EQ(end(), ExitStatus::Success);
    const Figures& figures = m_recorded.figures;
    EXPECT_NEAR(figures.levels[0].dBFS, -20, 0.05);
    EXPECT_NEAR(figures.levels[1].dBFS, -20, 0.05);
    ASSERT_TRUE(figures.carrier);
    EXPECT_NEAR(figures.carrier->offset, 50000, 10);
    EXPECT_NEAR(figures.carrier->dBFS, -20, 0.1);
    EXPECT_EQ(m_recorded.facts.frequency, 7100000U);
    EXPECT_TRUE(m_server.waitForMessage({10, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0}));
}

TEST_F(SessionTest, ServerThatGoesAway) {
    begin();
    send(0);
    m_server.hangUp();
    EXPECT_EQ(join(), ExitStatus::ConnectionLost);
    EXPECT_EQ(counts().received, 1U);
    EXPECT_NE(m_notes.str().find("closed the connection"), std::string::npos) << m_notes.str();
}

TEST_F(SessionTest, NothingComes) {
    begin();
    EXPECT_EQ(end(), ExitStatus::NothingReceived);
    EXPECT_NE(m_notes.str().find("no datagrams came"), std::string::npos) << m_notes.str();
}

TEST_F(SessionTest, EndsByItselfAfterTheTimeAskedFor) {
    m_options.seconds = 0.05;
    begin();
    EXPECT_EQ(join(), ExitStatus::NothingReceived);
    EXPECT_TRUE(m_server.waitForStop());
}

TEST_F(SessionTest, TwoOnOnePort) {
    begin();
    Recorded recorded;
    try {
        const Session second(m_options, recorded, m_notes);
        FAIL() << "was not refused";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, ExitStatus::PortInUse);
    }
}

} // namespace
