// SPDX-License-Identifier: MIT
// What happens to a machine that runs for weeks while the server streams on it: its clock is put
// right, it is suspended and woken. Samples come as in a ReceiverSession, so that a pair that the
// server lost would show.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

Emulated onAMachine(const std::map<std::string, std::string>& more = {}) {
    Emulated emulated{
        .more = {{"FEEDLINE_EMULATOR_SPEED", "0.25"}, {"FEEDLINE_EMULATOR_PATIENCE", "0"}}};
    emulated.more.insert(more.begin(), more.end());
    return emulated;
}

void expectWholeStream(StreamedServer& server, std::size_t restarts = 0) {
    const ReceivedStream::Counts counts = server.datagrams.counts();
    EXPECT_EQ(counts.malformed, 0U);
    EXPECT_EQ(counts.lost, counts.overflowed);
    EXPECT_EQ(counts.fromZero, restarts);
    EXPECT_EQ(server.receiver.number("hf", "dropped"), 0);
    EXPECT_EQ(server.process.end(SIGTERM, "after the test"), 0);
}

#ifdef FEEDLINE_SHIFTED_CLOCK
/// The wall clock of a server that was started with it, in seconds off the right time.
class WallClock {
public:
    WallClock() : file_(open(folder_.file("clock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        set(0);
    }
    std::map<std::string, std::string> variables() const {
        return {{"TZ", "UTC0"},
                {"LD_PRELOAD", FEEDLINE_SHIFTED_CLOCK},
                {"FEEDLINE_TEST_CLOCK", folder_.file("clock")}};
    }
    void set(std::int64_t seconds) const {
        EXPECT_EQ(pwrite(file_.get(), &seconds, sizeof seconds, 0), ssize_t{sizeof seconds});
    }

private:
    TemporaryFolder folder_;
    OwnedDescriptor file_;
};

/// When the n-th tuning was logged, by the prefix of its line.
std::time_t timeOfTuning(const std::string& log, int nth) {
    std::size_t at = 0;
    for (int n = 0; n < nth; ++n)
        at = log.find("set frequency ", at + 1);
    std::tm time{};
    std::istringstream(log.substr(log.rfind('\n', at) + 1)) >>
        std::get_time(&time, "%Y-%m-%d %H:%M:%S");
    return timegm(&time);
}

TEST(Machine, WhoseClockIsPutRightStreamsOnAndServesTheNextClient) {
    constexpr std::time_t hour = 3600;
    const WallClock clock;
    StreamedServer server(receiverHf, onAMachine(clock.variables()));
    {
        const ControlConnection client(server.port());
        ASSERT_EQ(client.ask(setState(runState)), setState(runState));
        int tunings = 0;
        for (const std::time_t off : {hour, -hour, std::time_t{0}}) {
            clock.set(off);
            ASSERT_EQ(client.ask(setFrequency(hfCentre)), setFrequency(hfCentre));
            ASSERT_TRUE(server.process.log.waitFor("set frequency ", ++tunings));
            const std::time_t expected = std::time(nullptr) + off;
            EXPECT_LT(std::abs(timeOfTuning(server.process.log.text(), tunings) - expected),
                      hour / 2);
            const std::size_t before = server.datagrams.counts().datagrams;
            ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 300));
        }
        clock.set(-hour); // In the five seconds until it listens again.
    }
    EXPECT_TRUE(server.datagrams.waitForSilence(300ms));
    const std::size_t before = server.datagrams.counts().datagrams;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 300));
    EXPECT_EQ(ControlConnection(server.port()).ask(askName()), nameAnswer("AirSpyHF+"));
    expectWholeStream(server, 1);
}

#endif

/// As a machine that is suspended stops its programs.
TEST(Machine, ThatSleptGoesOnWhereItWas) {
    StreamedServer server(receiverHf, onAMachine());
    const ControlConnection client(server.port());
    ASSERT_EQ(client.ask(setFrequency(hfCentre)), setFrequency(hfCentre));
    ASSERT_EQ(client.ask(setState(runState)), setState(runState));
    for (int nights = 0; nights < 3; ++nights) {
        ASSERT_TRUE(server.datagrams.waitForDatagrams(server.datagrams.counts().datagrams + 300));
        server.process.signal(SIGSTOP);
        ASSERT_TRUE(client.send(askStatus()));
        ASSERT_TRUE(client.send(setFrequency(hfCentre)));
        EXPECT_TRUE(server.datagrams.waitForSilence(1s));
        EXPECT_FALSE(client.hasInput(0ms));
        server.process.signal(SIGCONT);
        EXPECT_EQ(client.receive(), statusAnswer(running));
        EXPECT_EQ(client.receive(), setFrequency(hfCentre));
    }
    ASSERT_TRUE(server.datagrams.waitForDatagrams(server.datagrams.counts().datagrams + 300));
    expectWholeStream(server);
}

} // namespace
} // namespace feedline::test
