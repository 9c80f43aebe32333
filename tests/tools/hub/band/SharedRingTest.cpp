// SPDX-License-Identifier: MIT
#include "tools/hub/band/SharedRing.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace feedline::hub {
namespace {

using Ring = SharedRing<int>;

TEST(SharedRing, GivesEveryReaderEveryItemInOrder) {
    Ring ring(4);
    std::uint64_t first = ring.end();
    ring.push(std::make_shared<int>(1));
    ring.push(std::make_shared<int>(2));
    std::uint64_t second = 0;
    EXPECT_EQ(*ring.take(first), 1);
    EXPECT_EQ(*ring.take(first), 2);
    EXPECT_EQ(ring.take(first), nullptr);
    EXPECT_EQ(*ring.take(second), 1);
}

TEST(SharedRing, DropsTheOldestWhenAReaderStaysAway) {
    Ring ring(4);
    std::uint64_t reader = 0;
    for (int item = 0; item < 10; ++item)
        ring.push(std::make_shared<int>(item));
    EXPECT_EQ(*ring.take(reader), 6);
    EXPECT_EQ(reader, 7U);
}

TEST(SharedRing, KeepsAnItemForTheReaderThatHoldsIt) {
    Ring ring(1);
    std::uint64_t reader = 0;
    ring.push(std::make_shared<int>(1));
    const Ring::Pointer held = ring.take(reader);
    ring.push(std::make_shared<int>(2));
    EXPECT_EQ(*held, 1);
    EXPECT_EQ(held.use_count(), 1);
}

// Under the thread sanitizer this is what shows a race.
TEST(SharedRing, IsReadByManyThreadsWhileOneWrites) {
    Ring ring(64);
    constexpr int items = 20000;
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int reader = 0; reader < 4; ++reader)
        readers.emplace_back([&] {
            int last = -1;
            for (std::uint64_t next = 0; last < items - 1;)
                if (const auto item = ring.take(next)) {
                    EXPECT_GT(*item, last);
                    last = *item;
                }
        });
    for (int item = 0; item < items; ++item)
        ring.push(std::make_shared<int>(item));
    for (std::thread& reader : readers)
        reader.join();
}

} // namespace
} // namespace feedline::hub
