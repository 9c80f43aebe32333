// SPDX-License-Identifier: MIT
#include "platform/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace feedline {
namespace {

// Each case changes the process for good, so each runs in a child.
class Process : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(Process, ClosedStandardStreamsNeverGoToASocket) {
    EXPECT_EXIT(
        {
            for (const int stream : {0, 1, 2})
                close(stream);
            prepareProcess();
            const int next = open("/dev/null", O_RDONLY);
            const bool writable = write(STDERR_FILENO, "x", 1) == 1;
            _exit(next > 2 && writable ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, OpenStandardStreamsStayWhatTheyWere) {
    EXPECT_EXIT(
        {
            prepareProcess();
            dprintf(STDERR_FILENO, "still here");
            _exit(0);
        },
        ::testing::ExitedWithCode(0), "still here");
}

TEST_F(Process, ABrokenPipeDoesNotEndTheProcess) {
    EXPECT_EXIT(
        {
            prepareProcess();
            int ends[2];
            if (pipe(ends) != 0)
                _exit(2);
            close(ends[0]);
            _exit(write(ends[1], "x", 1) < 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, EndSignalsAreBlockedInEveryLaterThread) {
    EXPECT_EXIT(
        {
            prepareProcess();
            std::thread([] {
                sigset_t blocked{};
                pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
                _exit(sigismember(&blocked, SIGTERM) == 1 && sigismember(&blocked, SIGINT) == 1
                          ? 0
                          : 1);
            }).join();
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, TheDescriptorLimitRisesToTheHardLimit) {
    EXPECT_EXIT(
        {
            rlimit limit{};
            getrlimit(RLIMIT_NOFILE, &limit);
            limit.rlim_cur = 64;
            setrlimit(RLIMIT_NOFILE, &limit);
            prepareProcess();
            getrlimit(RLIMIT_NOFILE, &limit);
            _exit(limit.rlim_cur == limit.rlim_max && limit.rlim_max > 64 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace feedline
