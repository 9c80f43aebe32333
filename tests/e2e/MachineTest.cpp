// SPDX-License-Identifier: MIT
// What happens to a machine that runs for weeks while the server streams on it: its clock is put
// right, it is suspended and woken.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "ReceiverSession.h"
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
#include <sys/wait.h>
#include <unistd.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

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

struct MachineClock : ReceiverSession {
    MachineClock() : ReceiverSession(hfKind(), clock.variables()) {}
    static inline const WallClock clock;
};

TEST_F(MachineClock, ThatIsPutRightChangesTheLogsTimesAndNothingElse) {
    constexpr std::time_t hour = 3600;
    {
        const ControlConnection client(server.port());
        start(client);
        const std::size_t begin = settledFrom();
        int tunings = 1;
        for (const std::time_t off : {hour, -hour, std::time_t{0}}) {
            clock.set(off);
            ASSERT_EQ(client.ask(setFrequency(kind.centre)), setFrequency(kind.centre));
            ASSERT_TRUE(server.process.log.waitFor("set frequency ", ++tunings));
            const std::time_t expected = std::time(nullptr) + off;
            EXPECT_LT(std::abs(timeOfTuning(server.process.log.text(), tunings) - expected),
                      hour / 2);
            const std::size_t before = server.datagrams.counts().datagrams;
            ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 300));
        }
        expectSteadyCarrier(50000, begin, 600);
        clock.set(-hour); // In the five seconds until it listens again.
    }
    EXPECT_TRUE(server.datagrams.waitForSilence(300ms));
    const std::size_t before = server.datagrams.counts().datagrams;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 300));
    EXPECT_EQ(ControlConnection(server.port()).ask(askName()), nameAnswer(kind.name));
    expectNothingLost(1);
}
#endif

/// A machine that is suspended stops its programs. The emulated receiver sleeps with them: what
/// becomes of one that is gone afterwards is ReceiverFaultsTest's.
struct SleepingMachine : ReceiverSession {
    SleepingMachine() : ReceiverSession(hfKind()) {}
    void fallAsleep() const {
        siginfo_t stopped{};
        server.process.signal(SIGSTOP);
        ASSERT_EQ(waitid(P_PID, static_cast<id_t>(server.process.pid()), &stopped, WSTOPPED), 0);
    }
    void wakeUp() const { server.process.signal(SIGCONT); }
};

TEST_F(SleepingMachine, GoesOnWhereItWas) {
    const ControlConnection client(server.port());
    start(client);
    const std::size_t begin = settledFrom();
    for (int nights = 0; nights < 3; ++nights) {
        ASSERT_TRUE(server.datagrams.waitForDatagrams(server.datagrams.counts().datagrams + 200));
        fallAsleep();
        ASSERT_TRUE(client.send(askStatus()));
        ASSERT_TRUE(client.send(setFrequency(kind.centre)));
        EXPECT_TRUE(server.datagrams.waitForSilence(1s));
        EXPECT_FALSE(client.hasInput(0ms));
        wakeUp();
        EXPECT_EQ(client.receive(), statusAnswer(running));
        EXPECT_EQ(client.receive(), setFrequency(kind.centre));
    }
    ASSERT_TRUE(server.datagrams.waitForDatagrams(server.datagrams.counts().datagrams + 200));
    expectSteadyCarrier(50000, begin, 600);
    expectNothingLost();
}

} // namespace
} // namespace feedline::test
