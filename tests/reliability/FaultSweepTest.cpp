// SPDX-License-Identifier: MIT
// Every call that the server makes of the system and of the vendors' libraries fails: once at each
// of its places, from each of its places on, and always. What comes of it is what FaultScenario
// expects of it, never a crash, a hang or a leak.
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
    std::string discrepancy;
    std::string end; ///< of the process, empty when it was in order
};

/// The run itself, in the child: its verdict goes to the pipe.
[[noreturn]] void runToExit(const Receiver& receiver, const Fault& fault, int pipeEnd) {
    injectFault(fault);
    const std::string discrepancy = liveOnce(receiver);
    const std::string verdict = std::to_string(faultsInjected()) + "\n" + discrepancy;
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

Verdict verdictOf(const Receiver& receiver, const Fault& fault) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        return {};
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        runToExit(receiver, fault, ends[1]);
    }
    ::close(ends[1]);
    std::string text;
    const bool hangs = !readToEnd(ends[0], text);
    ::close(ends[0]);
    Verdict verdict;
    verdict.end = endOf(child, hangs);
    if (const std::size_t line = text.find('\n'); line != std::string::npos) {
        verdict.injected = std::stoi(text);
        verdict.discrepancy = text.substr(line + 1);
    }
    return verdict;
}

/// Runs with the fault; returns how many calls it hit.
int runWith(const Receiver& receiver, const Fault& fault) {
    const Verdict verdict = verdictOf(receiver, fault);
    const bool once = fault.first == fault.last;
    const std::string what = fault.function + (once ? " failing at call " : " failing from call ") +
                             std::to_string(fault.first);
    EXPECT_EQ(verdict.discrepancy, "") << what;
    EXPECT_EQ(verdict.end, "") << what;
    EXPECT_GE(verdict.injected, 0) << what << ": no verdict";
    return verdict.injected;
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
        const int hit = runWith(*receiver, {function, calls + 1, calls + 1});
        if (hit != 1 || HasFailure() || ++calls == mostCalls)
            break;
        EXPECT_GE(runWith(*receiver, {.function = function, .first = calls}), 1);
    }
    EXPECT_TRUE(calls > 0 || HasFailure()) << "the scenario does not call " << function;
    EXPECT_LT(calls, mostCalls);
    std::printf("%d places, %d runs\n", calls, 2 * calls + 1);
}

INSTANTIATE_TEST_SUITE_P(Call, FaultSweep, ::testing::ValuesIn(places()), nameOf);

/// The expectations hold where nothing fails, too.
TEST(FaultScenario, RunsToItsEndWithoutAFault) {
    EXPECT_EQ(runWith(airspyHf(), {.function = "none"}), 0);
    EXPECT_EQ(runWith(airspy(), {.function = "none"}), 0);
}

} // namespace
} // namespace feedline::test
