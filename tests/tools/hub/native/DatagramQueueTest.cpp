// SPDX-License-Identifier: MIT
// Cutting a stream into numbered datagrams, and the pace at which they leave.
#include "tools/hub/native/DatagramQueue.h"

#include "tools/hub/native/Pace.h"

#include <gtest/gtest.h>

#include <vector>

namespace feedline::hub {
namespace {

std::uint16_t numberAt(std::span<const std::uint8_t> datagrams, std::size_t at) {
    const std::uint8_t* datagram = datagrams.data() + at * datagram::size;
    return static_cast<std::uint16_t>(datagram[2] | datagram[3] << 8U);
}

TEST(DatagramQueue, HoldsBackWhatDoesNotFillADatagram) {
    DatagramQueue queue(8);
    EXPECT_EQ(queue.add(std::vector<std::int16_t>(510)), 0U);
    EXPECT_EQ(queue.waiting(), 0U);
    EXPECT_EQ(queue.add(std::vector<std::int16_t>(4)), 0U);
    EXPECT_EQ(queue.waiting(), 1U);
}

TEST(DatagramQueue, NumbersFromZeroAndGoesRound) {
    DatagramQueue queue(4);
    for (unsigned number = 0; number < 66000; ++number) {
        ASSERT_EQ(queue.add(std::vector<std::int16_t>(datagram::entries)), 0U);
        ASSERT_EQ(numberAt(queue.front(1), 0), number % 65536);
        queue.pop(1);
    }
}

TEST(DatagramQueue, CountsWhatFindsNoRoomAndLeavesItsNumbersOut) {
    DatagramQueue queue(2);
    EXPECT_EQ(queue.add(std::vector<std::int16_t>(5 * datagram::entries)), 3 * datagram::pairs);
    queue.pop(2);
    queue.add(std::vector<std::int16_t>(datagram::entries));
    EXPECT_EQ(numberAt(queue.front(1), 0), 5);
}

TEST(DatagramQueue, ALossOfAFewPairsStillShows) {
    DatagramQueue queue(4);
    queue.add(std::vector<std::int16_t>(datagram::entries));
    queue.skip(1);
    queue.add(std::vector<std::int16_t>(datagram::entries));
    EXPECT_EQ(numberAt(queue.front(2), 0), 0);
    EXPECT_EQ(numberAt(queue.front(2), 1), 2);
}

TEST(DatagramQueue, GivesWhatLiesTogether) {
    DatagramQueue queue(4);
    queue.add(std::vector<std::int16_t>(4 * datagram::entries));
    queue.pop(3);
    queue.add(std::vector<std::int16_t>(2 * datagram::entries));
    EXPECT_EQ(queue.front(3).size(), 1 * datagram::size);
    queue.pop(1);
    EXPECT_EQ(queue.front(3).size(), 2 * datagram::size);
}

TEST(DatagramQueue, KeepsWhatFillsNoDatagramYetWhenItEmpties) {
    DatagramQueue queue(4);
    std::vector<std::int16_t> samples(datagram::entries + 2);
    samples[datagram::entries] = 0x0102;
    samples[datagram::entries + 1] = 0x0304;
    queue.add(samples);
    queue.pop(1);
    queue.add(std::vector<std::int16_t>(datagram::entries - 2));
    const auto datagram = queue.front(1);
    ASSERT_EQ(datagram.size(), datagram::size);
    EXPECT_EQ(datagram[datagram::sampleOffset], 0x02);
    EXPECT_EQ(datagram[datagram::sampleOffset + 3], 0x03);
}

TEST(Pace, SpreadsABurstOverTheTimeUntilTheNext) {
    Pace pace;
    pace.setRate(2500000);
    std::size_t waiting = 256; // An AirSpy's block, every 26.2 ms.
    int ticks = 0;
    for (; waiting > 0; ++ticks) {
        const std::size_t share = pace.share(waiting);
        ASSERT_LE(share, 22U); // Far below the 92 that a usual receive buffer holds.
        waiting -= share;
    }
    EXPECT_GE(ticks, 11);
    EXPECT_LE(ticks, 13);
}

TEST(Pace, SendsAFewAtOnce) {
    Pace pace;
    pace.setRate(48000);
    EXPECT_EQ(pace.share(8), 8U);
}

TEST(Pace, CatchesUpWithALongQueue) {
    Pace pace;
    pace.setRate(2500000);
    EXPECT_GE(pace.share(3000), 42U);
}

} // namespace
} // namespace feedline::hub
