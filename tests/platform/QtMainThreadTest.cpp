// SPDX-License-Identifier: MIT
#include "platform/qt/QtMainThread.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace feedline {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

int argumentCount = 1;
char programName[] = "test";
char* arguments[] = {programName, nullptr};

class QtMainThread : public ::testing::Test {
protected:
    /// Runs the event loop until `quit`, and gives its status; fails when that never comes.
    int run() {
        QObject::connect(&guard, &QTimer::timeout, [] {
            ADD_FAILURE() << "nothing ended the loop";
            QCoreApplication::exit(1);
        });
        guard.start(60s);
        return QCoreApplication::exec();
    }
    static void quit() { QCoreApplication::exit(0); }

    QCoreApplication application{argumentCount, arguments};
    feedline::QtMainThread main;
    QTimer guard;
};

TEST_F(QtMainThread, RunsTasksOfAnotherThreadInOrderOnTheMainThread) {
    std::vector<int> ran;
    std::thread::id where;
    std::thread other([&] {
        for (int i = 0; i < 3; ++i)
            main.perform([&, i] {
                ran.push_back(i);
                where = std::this_thread::get_id();
            });
        main.perform(quit);
    });
    run();
    other.join();
    EXPECT_THAT(ran, ElementsAre(0, 1, 2));
    EXPECT_EQ(where, std::this_thread::get_id());
}

TEST_F(QtMainThread, TakesTasksBeforeTheLoopRuns) {
    bool ran = false;
    main.perform([&] { ran = true; });
    EXPECT_FALSE(ran);
    main.perform(quit);
    run();
    EXPECT_TRUE(ran);
}

TEST_F(QtMainThread, LosesNoneOfManyTasksOfManyThreads) {
    constexpr int each = 5000;
    int ran = 0;
    std::array<std::thread, 4> others;
    for (auto& other : others)
        other = std::thread([&] {
            for (int task = 0; task < each; ++task)
                main.perform([&] {
                    if (++ran == 4 * each)
                        quit();
                });
        });
    run();
    for (auto& other : others)
        other.join();
    EXPECT_EQ(ran, 4 * each);
}

// Nobody takes the tasks meanwhile: a caller that waited for room would wait for ever.
TEST_F(QtMainThread, NeverHoldsTheCallerUp) {
    constexpr int many = 100000;
    int ran = 0;
    std::thread([&] {
        for (int task = 0; task < many; ++task)
            main.perform([&] { ++ran; });
    }).join();
    main.perform(quit);
    run();
    EXPECT_EQ(ran, many);
}

TEST_F(QtMainThread, RunsADelayedTaskOnceAndNotEarly) {
    int ran = 0;
    const auto start = std::chrono::steady_clock::now();
    main.performAfterDelay(50ms, [&] { ++ran; });
    main.performAfterDelay(120ms, quit);
    run();
    EXPECT_EQ(ran, 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 119ms);
}

// The set-up after a client may meet an alert: its loop must not run the task again.
TEST_F(QtMainThread, RunsADelayedTaskOnceThoughItOpensALoopOfItsOwn) {
    int ran = 0;
    QEventLoop nested;
    main.performAfterDelay(1ms, [&] {
        ++ran;
        int ticks = 0;
        main.performRepeatedly(2ms, [&nested, ticks]() mutable {
            if (++ticks == 5)
                nested.exit();
        });
        nested.exec();
        quit();
    });
    run();
    EXPECT_EQ(ran, 1);
}

TEST_F(QtMainThread, RepeatsATaskUntilTheEnd) {
    int ran = 0;
    main.performRepeatedly(5ms, [&] {
        if (++ran == 5)
            quit();
    });
    run();
    EXPECT_EQ(ran, 5);
}

TEST_F(QtMainThread, TasksAndTimersRunInsideANestedLoop) {
    QEventLoop nested;
    int ticks = 0;
    bool taskRan = false;
    main.performRepeatedly(5ms, [&] {
        if (++ticks >= 3 && taskRan)
            nested.exit();
    });
    main.perform([&] {
        std::thread([&] { main.perform([&] { taskRan = true; }); }).join();
        nested.exec();
        quit();
    });
    run();
    EXPECT_TRUE(taskRan);
    EXPECT_GE(ticks, 3);
}

TEST_F(QtMainThread, EndLeavesEveryNestedLoop) {
    QEventLoop outer;
    QEventLoop inner;
    main.perform([&] {
        main.perform([&] {
            std::thread([&] { main.end(); }).join();
            EXPECT_TRUE(main.ending());
            inner.exec();
        });
        outer.exec();
    });
    EXPECT_FALSE(main.ending());
    EXPECT_EQ(run(), 0);
}

TEST_F(QtMainThread, ALoopBegunAfterTheEndDoesNotLast) {
    QEventLoop first;
    QEventLoop second;
    main.perform([&] {
        main.end();
        first.exec();
        second.exec();
    });
    run();
    EXPECT_TRUE(main.ending());
}

TEST_F(QtMainThread, WithoutACounterTheProgramEndsInALine) {
    const auto withoutDescriptors = [] {
        const rlimit none{};
        setrlimit(RLIMIT_NOFILE, &none);
        const feedline::QtMainThread another;
    };
    EXPECT_DEATH(withoutDescriptors(), "no counter for the main thread's tasks\n");
}

TEST_F(QtMainThread, TellsEveryObserverThatTheEndIsNear) {
    std::vector<int> told;
    main.addWillTerminateObserver([&] { told.push_back(1); });
    main.addWillTerminateObserver([&] { told.push_back(2); });
    main.tellWillTerminateObservers();
    EXPECT_THAT(told, ElementsAre(1, 2));
}

} // namespace
} // namespace feedline
