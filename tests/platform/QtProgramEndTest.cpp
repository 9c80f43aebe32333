// SPDX-License-Identifier: MIT
#include "platform/Process.h"
#include "platform/qt/ProgramEnd.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <pthread.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace feedline {
namespace {

using namespace std::chrono_literals;
using ::testing::ExitedWithCode;

int argumentCount = 1;
char programName[] = "test";
char* arguments[] = {programName, nullptr};

void say(const std::string& text) {
    dprintf(STDERR_FILENO, "%s", text.c_str());
}

std::string threadName() {
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

/// A program whose first task is `launch`; ends as the programs do. Says on which thread it saved,
/// and a brackets count that shows a save begun and completed.
[[noreturn]] void runProgram(const std::function<void(feedline::QtMainThread&)>& launch,
                             std::chrono::milliseconds saveTakes = {}) {
    prepareProcess();
    pthread_setname_np(pthread_self(), "main");
    const QCoreApplication application(argumentCount, arguments);
    feedline::QtMainThread mainThread;
    ProgramEnd end(mainThread, [saveTakes] {
        say("[saved on " + threadName());
        std::this_thread::sleep_for(saveTakes);
        say("]");
    });
    mainThread.perform([&] { launch(mainThread); });
    mainThread.addWillTerminateObserver([] { say("[observed]"); });
    QCoreApplication::exec();
    end.finish();
}

class ProgramEnd : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_P(ProgramEnd, ASignalSavesOnceOnTheMainThreadAndExitsWithSuccess) {
    EXPECT_EXIT(runProgram([](auto&) { kill(getpid(), GetParam()); }), ExitedWithCode(0),
                "^\\[saved on main\\]\\[observed\\]$");
}

TEST_P(ProgramEnd, ASignalLeavesNestedLoops) {
    EXPECT_EXIT(runProgram([](auto&) {
                    kill(getpid(), GetParam());
                    QEventLoop().exec();
                    QEventLoop().exec();
                }),
                ExitedWithCode(0), "^\\[saved on main\\]\\[observed\\]$");
}

TEST_P(ProgramEnd, AStuckMainThreadIsNotWaitedFor) {
    EXPECT_EXIT(runProgram([](auto&) {
                    kill(getpid(), GetParam());
                    for (;;)
                        pause();
                }),
                ExitedWithCode(0), "^\\[saved on SignalThread\\]$");
}

TEST_P(ProgramEnd, ASecondSignalChangesNothing) {
    EXPECT_EXIT(runProgram([](auto& mainThread) {
                    kill(getpid(), GetParam());
                    while (!mainThread.ending())
                        usleep(1000);
                    kill(getpid(), SIGTERM);
                    kill(getpid(), SIGINT);
                }),
                ExitedWithCode(0), "^\\[saved on main\\]\\[observed\\]$");
}

TEST_P(ProgramEnd, ClosingTheWindowEndsAsASignalDoes) {
    EXPECT_EXIT(runProgram([](auto& mainThread) { mainThread.end(); }), ExitedWithCode(0),
                "^\\[saved on main\\]\\[observed\\]$");
}

// Longer than the signal's thread waits for the main thread.
TEST_P(ProgramEnd, ASaveThatTakesLongIsTheOnlyOne) {
    EXPECT_EXIT(runProgram([](auto&) { kill(getpid(), GetParam()); }, 900ms), ExitedWithCode(0),
                "^\\[saved on main\\]\\[observed\\]$");
}

INSTANTIATE_TEST_SUITE_P(Signals, ProgramEnd, ::testing::Values(SIGTERM, SIGINT),
                         [](const auto& signal) {
                             return signal.param == SIGTERM ? "SIGTERM" : "SIGINT";
                         });

} // namespace
} // namespace feedline
