// SPDX-License-Identifier: MIT
#include "tools/soapy/SampleQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using namespace feedline::soapy;
using namespace std::chrono_literals;
using Outcome = SampleQueue::Outcome;
using Clock = SampleQueue::Clock;

namespace {

constexpr double period = 1000; // ns
constexpr auto longest = 60s;

class SampleQueueTest : public testing::Test {
protected:
    SampleQueueTest() { queue.open(); }

    // Every pair holds its own number.
    std::size_t write(std::size_t pairs, std::int64_t time = 0, bool broken = false) {
        std::vector<std::int16_t> samples(2 * pairs);
        for (std::int16_t& sample : samples)
            sample = static_cast<std::int16_t>(entry++ / 2);
        return queue.write(samples, time, period, broken);
    }
    SampleQueue::Piece read(std::size_t wanted, Clock::duration wait = 0s) {
        const auto piece = queue.acquire(wanted, Clock::now() + wait);
        if (piece.outcome == Outcome::samples)
            queue.release(piece.handle);
        return piece;
    }
    void expectPairs(const SampleQueue::Piece& piece, std::size_t first, std::size_t count) {
        ASSERT_EQ(piece.outcome, Outcome::samples);
        ASSERT_EQ(piece.samples.size(), 2 * count);
        for (std::size_t at = 0; at < 2 * count; ++at)
            ASSERT_EQ(piece.samples[at], static_cast<std::int16_t>(first + at / 2));
    }

    SampleQueue queue;
    std::size_t entry = 0;
    std::atomic<std::size_t> pairsRead = 0;
};

TEST_F(SampleQueueTest, GivesWhatWasWrittenWithItsTime) {
    write(256, 5'000'000);
    write(256, 5'256'000);
    expectPairs(read(100), 0, 100);
    const auto piece = read(1000);
    expectPairs(piece, 100, 412);
    EXPECT_EQ(piece.nanoseconds, 5'100'000);
    EXPECT_EQ(read(1).outcome, Outcome::timeOut);
}

TEST_F(SampleQueueTest, WaitsUntilAllIsThere) {
    write(100);
    std::thread writer([this] {
        std::this_thread::sleep_for(20ms);
        write(100);
        write(100);
    });
    expectPairs(read(300, longest), 0, 300);
    writer.join();
}

TEST_F(SampleQueueTest, GivesWhatThereIsWhenTheTimeIsOverAndNotBefore) {
    write(100);
    const auto begin = Clock::now();
    expectPairs(read(300, 50ms), 0, 100);
    EXPECT_GE(Clock::now() - begin, 50ms);
    EXPECT_EQ(read(300, 50ms).outcome, Outcome::timeOut);
    EXPECT_GE(Clock::now() - begin, 100ms);
}

TEST_F(SampleQueueTest, EveryPieceIsInOnePieceOverTheRingsEnd) {
    const std::size_t rounds = SampleQueue::capacity / 1000 * 2;
    for (std::size_t round = 0; round < rounds; ++round) {
        write(1000);
        expectPairs(read(1000), round * 1000, 1000);
    }
    // What is written over the end in one go, too.
    write(SampleQueue::longestPiece);
    expectPairs(read(SampleQueue::longestPiece), rounds * 1000, SampleQueue::longestPiece);
}

TEST_F(SampleQueueTest, TellsALossOnceAtItsPlace) {
    write(100, 1000);
    write(100, 900'000, true);
    expectPairs(read(300, longest), 0, 100);
    const auto loss = read(300, longest);
    EXPECT_EQ(loss.outcome, Outcome::lost);
    EXPECT_EQ(loss.nanoseconds, 900'000);
    const auto piece = read(300);
    expectPairs(piece, 100, 100);
    EXPECT_EQ(piece.nanoseconds, 900'000);
}

TEST_F(SampleQueueTest, AReaderThatIsTooSlowLosesWhatComesLast) {
    constexpr std::size_t part = 4096;
    for (std::size_t written = 0; written < SampleQueue::capacity; written += part)
        EXPECT_EQ(write(part), 0U);
    EXPECT_EQ(write(part), part);
    EXPECT_EQ(queue.dropped(), part);
    expectPairs(read(part), 0, part);
    EXPECT_EQ(write(part, 77), 0U);
    for (std::size_t at = part; at < SampleQueue::capacity; at += part)
        expectPairs(read(part), at, part);
    const auto loss = read(part);
    EXPECT_EQ(loss.outcome, Outcome::lost);
    EXPECT_EQ(loss.nanoseconds, 77);
    expectPairs(read(part), SampleQueue::capacity + part, part);
}

TEST_F(SampleQueueTest, WhatIsAcquiredStaysUntilItIsReleased) {
    write(200);
    const auto first = queue.acquire(100, Clock::now());
    const auto second = queue.acquire(100, Clock::now());
    EXPECT_NE(first.handle, second.handle);
    queue.release(second.handle);
    queue.release(second.handle);
    queue.release(99);
    // Nothing is free before the first one is.
    while (write(4096) == 0) {
    }
    expectPairs(first, 0, 100);
    queue.release(first.handle);
    EXPECT_EQ(write(200), 0U);
}

TEST_F(SampleQueueTest, OnlySoManyCanBeAcquired) {
    write(100);
    for (std::size_t handle = 0; handle < SampleQueue::handles; ++handle)
        EXPECT_EQ(queue.acquire(1, Clock::now()).outcome, Outcome::samples);
    const auto begin = Clock::now();
    EXPECT_EQ(queue.acquire(1, begin + 20ms).outcome, Outcome::timeOut);
    EXPECT_GE(Clock::now() - begin, 20ms);
    queue.release(0);
    EXPECT_EQ(queue.acquire(1, Clock::now()).outcome, Outcome::samples);
}

TEST_F(SampleQueueTest, WhatIsHeldComesWhenItsTimeHasCome) {
    queue.holdUntil(Clock::now() + 50ms);
    write(100);
    EXPECT_EQ(read(100).outcome, Outcome::timeOut);
    expectPairs(read(100, longest), 0, 100);
}

TEST_F(SampleQueueTest, WhatIsHeldCanBeTakenBack) {
    write(100, 1000);
    queue.holdUntil(Clock::now() + 1h);
    write(100, 2000, true);
    queue.discardHeld();
    queue.holdUntil(Clock::now());
    write(100, 3000, true);
    expectPairs(read(100), 0, 100);
    EXPECT_EQ(read(100).outcome, Outcome::lost);
    const auto piece = read(100);
    expectPairs(piece, 200, 100);
    EXPECT_EQ(piece.nanoseconds, 3000);
}

TEST_F(SampleQueueTest, ClosingWakesTheReader) {
    std::thread closer([this] {
        std::this_thread::sleep_for(20ms);
        queue.close();
    });
    EXPECT_EQ(read(1, longest).outcome, Outcome::timeOut);
    closer.join();
    EXPECT_EQ(write(100), 0U);
    EXPECT_EQ(read(1).outcome, Outcome::timeOut);
}

TEST_F(SampleQueueTest, AReaderMayWaitForTheOpening) {
    queue.close();
    std::thread opener([this] {
        std::this_thread::sleep_for(20ms);
        queue.open();
        write(100);
    });
    expectPairs(read(100, longest), 0, 100);
    opener.join();
}

TEST_F(SampleQueueTest, GivesUpAfterTheLimitAndThenWithoutHaste) {
    queue.setGiveUp(50ms);
    EXPECT_EQ(read(1, longest).outcome, Outcome::gaveUp);
    const auto begin = Clock::now();
    EXPECT_EQ(read(1, longest).outcome, Outcome::gaveUp);
    EXPECT_GE(Clock::now() - begin, 90ms);
    write(10);
    expectPairs(read(10, longest), 0, 10);
}

// One thread writes as fast as it can, with and without room, the other reads.
TEST_F(SampleQueueTest, NothingIsMixedUpBetweenTwoThreads) {
    constexpr std::size_t total = 3 * SampleQueue::capacity;
    std::thread writer([this] {
        for (std::size_t written = 0; written < total; written += 1024) {
            while (queue.dropped() == 0 && written >= pairsRead + SampleQueue::capacity)
                std::this_thread::yield();
            write(1024);
        }
    });
    while (pairsRead < total) {
        const auto piece =
            queue.acquire(std::min<std::size_t>(1000, total - pairsRead), Clock::now() + longest);
        ASSERT_EQ(piece.outcome, Outcome::samples);
        for (std::size_t at = 0; at < piece.samples.size(); at += 97)
            ASSERT_EQ(piece.samples[at], static_cast<std::int16_t>(pairsRead + at / 2));
        queue.release(piece.handle);
        pairsRead += piece.samples.size() / 2;
    }
    writer.join();
}

} // namespace
