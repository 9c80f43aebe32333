// SPDX-License-Identifier: MIT
#include "tools/client/BatchQueue.h"

#include "Datagrams.h"

#include <gtest/gtest.h>

#include <thread>

using namespace feedline::client;
using feedline::test::batchOf;

namespace {

TEST(BatchQueueTest, GivesOutInOrder) {
    BatchQueue queue;
    queue.push(batchOf({1, 2}));
    queue.push(batchOf({3}));
    EXPECT_EQ(queue.pop()->front().verdict.position, 1);
    EXPECT_EQ(queue.pop()->front().verdict.position, 3);
}

TEST(BatchQueueTest, WhatWaitsIsGivenOutAfterTheClose) {
    BatchQueue queue;
    queue.push(batchOf({1}));
    queue.close();
    EXPECT_NE(queue.pop(), nullptr);
    EXPECT_EQ(queue.pop(), nullptr);
}

TEST(BatchQueueTest, CloseWakesTheWaiting) {
    BatchQueue queue;
    std::thread worker([&] { EXPECT_EQ(queue.pop(), nullptr); });
    queue.close();
    worker.join();
}

TEST(BatchQueueTest, RefusesWhatIsTooMuchAndRemembersIt) {
    BatchQueue queue(3);
    queue.push(batchOf({0, 1}));
    queue.push(batchOf({2, 3}));
    queue.push(batchOf({4, 5}));
    queue.push(batchOf({6}));
    EXPECT_EQ(queue.refusedCount(), 4U);
    EXPECT_FALSE(queue.refused(0, 2));
    EXPECT_TRUE(queue.refused(1, 3));
    EXPECT_TRUE(queue.refused(5, 6));
    EXPECT_FALSE(queue.refused(6, 100));
}

TEST(BatchQueueTest, HasRoomAgainAfterATake) {
    BatchQueue queue(2);
    queue.push(batchOf({0, 1}));
    queue.pop();
    queue.push(batchOf({2, 3}));
    EXPECT_EQ(queue.refusedCount(), 0U);
}

} // namespace
