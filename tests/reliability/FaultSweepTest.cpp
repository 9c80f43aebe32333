// SPDX-License-Identifier: MIT
// Every call that the server makes of the system and of the vendors' libraries fails: once at each
// of its places, from each of its places on, and always. What comes of it is what FaultScenario
// expects of it, never a crash, a hang or a leak. Five in a row are met, and the next client is
// served.
//
// Each run is a process of its own, forked from one that has a single thread and never ran any of
// the server.
#include "FaultScenario.h"
#include "Faults.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <poll.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

/// How long a run may take. Only one that hangs takes more than a second or two.
constexpr auto runLimit = 240s;

/// More calls than the scenario makes of any function.
constexpr int mostCalls = 200;

struct Verdict {
    int injected = -1; ///< failing calls; -1 when the run did not tell
    bool servedLast = false;
    std::string discrepancy;
    std::string end; ///< of the process, empty when it was in order
};

/// The run itself, in the child: its verdict goes to the pipe.
[[noreturn]] void runToExit(const Receiver& receiver, const std::vector<Fault>& faults,
                            int pipeEnd) {
    injectFaults(faults);
    const Life life = liveOnce(receiver);
    const std::string verdict =
        std::to_string(faultsInjected()) + (life.servedLast ? " 1\n" : " 0\n") + life.discrepancy;
    const ssize_t written = ::write(pipeEnd, verdict.data(), verdict.size());
    // In the orderly way, for the sanitizers' reports.
    std::exit(written == static_cast<ssize_t>(verdict.size()) ? 0 : 1);
}

/// What comes through the pipe until its other end is closed; false when that takes too long.
bool readToEnd(int pipeEnd, std::string& text) {
    const auto limit = std::chrono::steady_clock::now() + runLimit;
    std::array<char, 4096> bytes{};
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            limit - std::chrono::steady_clock::now());
        pollfd waiting{pipeEnd, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) == 0)
            return false;
        const ssize_t got = ::read(pipeEnd, bytes.data(), bytes.size());
        if (got <= 0)
            return true;
        text.append(bytes.data(), static_cast<std::size_t>(got));
    }
}

std::string endOf(pid_t child, bool hangs) {
    if (hangs)
        ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (hangs)
        return "hangs";
    if (WIFSIGNALED(status))
        return "ended by signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "exit status " + std::to_string(WEXITSTATUS(status));
}

Verdict verdictOf(const Receiver& receiver, const std::vector<Fault>& faults) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        return {};
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        runToExit(receiver, faults, ends[1]);
    }
    ::close(ends[1]);
    std::string text;
    const bool hangs = !readToEnd(ends[0], text);
    ::close(ends[0]);
    Verdict verdict;
    verdict.end = endOf(child, hangs);
    if (const std::size_t line = text.find('\n'); line != std::string::npos) {
        std::istringstream(text) >> verdict.injected >> verdict.servedLast;
        verdict.discrepancy = text.substr(line + 1);
    }
    return verdict;
}

std::string textOf(const std::vector<Fault>& faults) {
    std::string text;
    for (const Fault& fault : faults)
        text += fault.function +
                (fault.first == fault.last ? " failing at call " : " failing from call ") +
                std::to_string(fault.first) + "\n";
    return text;
}

/// Runs with the faults, and expects all to be as the scenario says.
Verdict runWith(const Receiver& receiver, const std::vector<Fault>& faults) {
    Verdict verdict = verdictOf(receiver, faults);
    EXPECT_EQ(verdict.discrepancy, "") << textOf(faults);
    EXPECT_EQ(verdict.end, "") << textOf(faults);
    EXPECT_GE(verdict.injected, 0) << textOf(faults) << "no verdict";
    return verdict;
}

struct Place {
    const Receiver* receiver;
    std::string function;
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.function;
}

std::vector<Place> places() {
    std::vector<Place> all;
    for (const Receiver* receiver : {&airspyHf(), &airspy()}) {
        std::set<std::string> functions{"thread",
                                        "control socket",
                                        "datagram socket",
                                        "dup",
                                        "setsockopt",
                                        "bind",
                                        "listen",
                                        "accept",
                                        "recv",
                                        "write",
                                        "sendto",
                                        "mmap",
                                        "shutdown",
                                        "close",
                                        receiver->startFunction,
                                        receiver->stopFunction,
                                        receiver->tuneFunction};
        for (const InitStep& step : receiver->init)
            functions.insert(step.function);
        functions.insert(receiver->alsoCalled.begin(), receiver->alsoCalled.end());
        for (const std::string& function : functions)
            all.push_back({receiver, function});
    }
    return all;
}

/// "bind_AirspyHf", "airspy_open_Airspy".
std::string nameOf(const ::testing::TestParamInfo<Place>& info) {
    std::string name =
        info.param.function + (info.param.receiver == &airspyHf() ? "_AirspyHf" : "_Airspy");
    for (char& c : name)
        if (std::isalnum(static_cast<unsigned char>(c)) == 0)
            c = '_';
    return name;
}

class FaultSweep : public ::testing::TestWithParam<Place> {};

TEST_P(FaultSweep, EndsAsItMust) {
    const auto& [receiver, function] = GetParam();
    int calls = 0;
    for (;;) {
        const int hit = runWith(*receiver, {{function, calls + 1, calls + 1}}).injected;
        if (hit != 1 || HasFailure() || ++calls == mostCalls)
            break;
        EXPECT_GE(runWith(*receiver, {{.function = function, .first = calls}}).injected, 1);
    }
    EXPECT_TRUE(calls > 0 || HasFailure()) << "the scenario does not call " << function;
    EXPECT_LT(calls, mostCalls);
    std::printf("%d places, %d runs\n", calls, 2 * calls + 1);
}

INSTANTIATE_TEST_SUITE_P(Call, FaultSweep, ::testing::ValuesIn(places()), nameOf);

/// The expectations hold where nothing fails, too.
TEST(FaultScenario, RunsToItsEndWithoutAFault) {
    for (const Receiver* receiver : {&airspyHf(), &airspy()}) {
        const Verdict verdict = runWith(*receiver, {});
        EXPECT_EQ(verdict.injected, 0);
        EXPECT_TRUE(verdict.servedLast);
    }
}

/// All five hit, and the scenario's last client is served as if nothing had been.
void expectServiceAfter(const Receiver& receiver, const std::vector<Fault>& five) {
    const Verdict verdict = runWith(receiver, five);
    EXPECT_EQ(verdict.injected, 5) << textOf(five);
    EXPECT_TRUE(verdict.servedLast) << textOf(five);
}

/// The numbers of the clients' own tunings; an HF+ is tuned by its initialisation, too.
int tuning(const Receiver& receiver, int client) {
    return client + (receiver.type == deviceAirspyHf ? 1 : 0);
}

TEST(FiveFailures, OfTheReceiverLeaveAServerThatServes) {
    for (const Receiver* receiver : {&airspyHf(), &airspy()})
        expectServiceAfter(*receiver,
                           {{receiver->startFunction, 1, 1},
                            {receiver->tuneFunction, tuning(*receiver, 1), tuning(*receiver, 1)},
                            {receiver->startFunction, 2, 2},
                            {receiver->tuneFunction, tuning(*receiver, 2), tuning(*receiver, 2)},
                            {receiver->stopFunction, 1, 1}});
}

TEST(FiveFailures, OfSocketsAndThreadsLeaveAServerThatServes) {
    for (const Receiver* receiver : {&airspyHf(), &airspy()})
        expectServiceAfter(*receiver, {{"setsockopt", 1, 1},
                                       {"write", 2, 2},
                                       {"recv", 4, 4},
                                       {"thread", 3, 3},
                                       {"sendto", 1, 1}});
}

TEST(FiveFailures, OfEveryKindLeaveAServerThatServes) {
    for (const Receiver* receiver : {&airspyHf(), &airspy()})
        expectServiceAfter(*receiver, {{receiver->startFunction, 1, 1},
                                       {"recv", 5, 5},
                                       {"write", 6, 6},
                                       {"sendto", 2, 2},
                                       {receiver->init.front().function, 2, 2}});
}

} // namespace
} // namespace feedline::test
