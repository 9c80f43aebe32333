// SPDX-License-Identifier: MIT
#include "tools/client/SequenceTracker.h"

#include <gtest/gtest.h>

#include <initializer_list>

using namespace feedline::client;

namespace {

class SequenceTrackerTest : public testing::Test {
protected:
    void add(std::initializer_list<int> numbers) {
        for (const int number : numbers)
            last = tracker.add(static_cast<std::uint16_t>(number));
    }
    void addRun(int from, int count) {
        for (int step = 0; step < count; ++step)
            last = tracker.add(static_cast<std::uint16_t>(from + step));
    }
    const SequenceCounts& counts() const { return tracker.counts(); }
    void expect(std::uint64_t received, std::uint64_t lost, std::uint64_t reordered,
                std::uint64_t duplicated, std::uint64_t restarts = 0) {
        EXPECT_EQ(counts().received, received);
        EXPECT_EQ(counts().lost, lost);
        EXPECT_EQ(counts().reordered, reordered);
        EXPECT_EQ(counts().duplicated, duplicated);
        EXPECT_EQ(counts().restarts, restarts);
    }

    SequenceTracker tracker;
    Verdict last{};
};

TEST_F(SequenceTrackerTest, BeginsWithAnyNumber) {
    add({40000, 40001});
    expect(2, 0, 0, 0);
    EXPECT_EQ(last.position, 1);
    EXPECT_EQ(last.arrival, Arrival::inOrder);
}

TEST_F(SequenceTrackerTest, GoesOnOverTheWrap) {
    addRun(65530, 12);
    expect(12, 0, 0, 0);
    EXPECT_EQ(last.position, 11);
}

TEST_F(SequenceTrackerTest, KeepsPositionsOverSeveralWraps) {
    addRun(0, 200000);
    expect(200000, 0, 0, 0);
    EXPECT_EQ(last.position, 199999);
}

TEST_F(SequenceTrackerTest, CountsAGap) {
    add({10, 14});
    expect(2, 3, 0, 0);
    EXPECT_EQ(last.arrival, Arrival::afterGap);
    EXPECT_EQ(last.position, 4);
}

TEST_F(SequenceTrackerTest, CountsAGapOverTheWrap) {
    add({65534, 2});
    expect(2, 3, 0, 0);
    EXPECT_EQ(last.position, 4);
}

TEST_F(SequenceTrackerTest, CountsAGapOfTensOfThousands) {
    add({100, 100 + 50000});
    expect(2, 49999, 0, 0);
}

TEST_F(SequenceTrackerTest, LateArrivalIsNoLongerLost) {
    add({1, 2, 4, 5, 3});
    expect(5, 0, 1, 0);
    EXPECT_EQ(last.arrival, Arrival::late);
    EXPECT_EQ(last.position, 2);
}

TEST_F(SequenceTrackerTest, LateArrivalOverTheWrap) {
    add({65534, 0, 1, 65535});
    expect(4, 0, 1, 0);
    EXPECT_EQ(last.position, 1);
}

TEST_F(SequenceTrackerTest, CountsDuplicates) {
    add({1, 2, 2, 3, 1});
    expect(3, 0, 0, 2);
    EXPECT_EQ(last.arrival, Arrival::duplicate);
}

TEST_F(SequenceTrackerTest, ALateArrivalThatComesAgainIsADuplicate) {
    add({1, 3, 2, 2});
    expect(3, 0, 1, 1);
}

TEST_F(SequenceTrackerTest, OneThatLeftBeforeTheFirstWasNeverLost) {
    add({7, 8, 6});
    expect(3, 0, 1, 0);
    EXPECT_EQ(last.position, -1);
}

TEST_F(SequenceTrackerTest, EveryDatagramTwice) {
    for (int number = 0; number < 5000; ++number)
        add({number, number});
    expect(5000, 0, 0, 5000);
}

TEST_F(SequenceTrackerTest, NewStartFarFromTheLastNumberLosesNothing) {
    addRun(0, 40000);
    addRun(0, 5);
    expect(40005, 0, 0, 0, 1);
    EXPECT_EQ(last.position, 40004);
}

TEST_F(SequenceTrackerTest, NewStartWhoseFirstDatagramsAreMissing) {
    addRun(0, 40000);
    addRun(3, 5);
    expect(40005, 0, 0, 0, 1);
}

TEST_F(SequenceTrackerTest, NewStartSoonAfterTheLastStart) {
    addRun(0, 300);
    addRun(0, 100);
    expect(400, 0, 0, 0, 1);
    EXPECT_EQ(last.position, 399);
    EXPECT_EQ(last.arrival, Arrival::inOrder);
}

TEST_F(SequenceTrackerTest, NewStartAfterLossesLeavesThemCounted) {
    addRun(0, 100);
    addRun(110, 200);
    addRun(0, 50);
    expect(350, 10, 0, 0, 1);
}

TEST_F(SequenceTrackerTest, LossIsCountedAfterANewStart) {
    addRun(0, 40000);
    add({0, 1, 5, 4});
    expect(40004, 2, 1, 0, 1);
}

TEST_F(SequenceTrackerTest, ABurstThatOvertakesAnotherIsNoNewStart) {
    addRun(5000, 10);
    addRun(5040, 10);
    addRun(5010, 30);
    add({5050});
    expect(51, 0, 30, 0);
}

} // namespace
