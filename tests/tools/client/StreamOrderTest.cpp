// SPDX-License-Identifier: MIT
#include "tools/client/StreamOrder.h"

#include "stream/DataDatagram.h"

#include <gtest/gtest.h>

#include <numeric>
#include <sstream>

using namespace feedline::client;
namespace datagram = feedline::datagram;

namespace {

constexpr std::size_t memoryDatagrams = 400;

// What comes out, as text: "5" for a datagram, "[5 6 7]" for a run in one call, "(6-8)" for a gap
// of three, "|9" for a new beginning. Every sample holds the number of its datagram.
class StreamOrderTest : public testing::Test, protected StreamSink {
protected:
    StreamOrderTest() : memory(memoryDatagrams * datagram::entries) {
        for (std::size_t at = 0; at < memory.size(); ++at)
            memory[at] = static_cast<std::int16_t>(at / datagram::entries);
    }

    void add(std::int64_t position, Arrival arrival = Arrival::inOrder) {
        order.add(
            {arrival, position}, 1000 * position,
            {&memory[static_cast<std::size_t>(position) * datagram::entries], datagram::entries});
    }
    // A block of its own each.
    void add(std::initializer_list<std::int64_t> positions) {
        for (const std::int64_t position : positions) {
            add(position);
            order.flush();
        }
    }

    void samples(std::int64_t position, std::int64_t nanoseconds,
                 std::span<const std::int16_t> samples) override {
        EXPECT_EQ(nanoseconds, 1000 * position);
        const auto count = static_cast<std::int64_t>(samples.size() / datagram::entries);
        for (std::int64_t at = 0; at < count; ++at)
            EXPECT_EQ(samples[static_cast<std::size_t>(at) * datagram::entries], position + at);
        if (count == 1)
            written << position << ' ';
        else
            written << '[' << position << ".." << position + count - 1 << "] ";
    }
    void gap(std::int64_t from, std::int64_t to) override {
        written << '(' << from << '-' << to - 1 << ") ";
    }
    void restart(std::int64_t position) override { written << '|' << position << ' '; }
    std::string out() const { return written.str(); }

    std::vector<std::int16_t> memory;
    std::ostringstream written;
    StreamOrder order{*this};
};

TEST_F(StreamOrderTest, PassesOnARunInOneCall) {
    for (int position = 0; position < 5; ++position)
        add(position);
    EXPECT_EQ(out(), "");
    order.flush();
    EXPECT_EQ(out(), "[0..4] ");
}

TEST_F(StreamOrderTest, BeginsWithTheFirst) {
    add({7, 6, 8});
    EXPECT_EQ(out(), "7 8 ");
}

TEST_F(StreamOrderTest, PutsALateOneInItsPlace) {
    add({0, 2, 3, 1, 4});
    EXPECT_EQ(out(), "0 1 2 3 4 ");
}

TEST_F(StreamOrderTest, SortsWhatIsHeldBack) {
    add({0, 3, 2, 5, 4, 1, 6});
    EXPECT_EQ(out(), "0 1 2 3 4 5 6 ");
}

TEST_F(StreamOrderTest, LeavesOutDuplicates) {
    add({0, 2});
    add(2, Arrival::duplicate);
    add({1, 3});
    EXPECT_EQ(out(), "0 1 2 3 ");
}

TEST_F(StreamOrderTest, AGapIsAGapOnceTooManyAreHeldBack) {
    add({0});
    for (std::size_t count = 0; count < StreamOrder::mostHeldBack; ++count)
        add({static_cast<std::int64_t>(3 + count)});
    EXPECT_EQ(out(), "0 ");
    add({static_cast<std::int64_t>(3 + StreamOrder::mostHeldBack)});
    EXPECT_EQ(out().substr(0, 14), "0 (1-2) 3 4 5 ");
    EXPECT_EQ(out().substr(out().size() - 6), "66 67 ");
}

TEST_F(StreamOrderTest, TheSecondGapWaitsAnew) {
    add({0, 2, 4});
    for (std::size_t count = 0; count < StreamOrder::mostHeldBack - 1; ++count)
        add({static_cast<std::int64_t>(6 + count)});
    EXPECT_EQ(out(), "0 (1-1) 2 ");
    add({1, 3, 5});
    EXPECT_EQ(out().substr(0, 22), "0 (1-1) 2 3 4 5 6 7 8 ");
}

TEST_F(StreamOrderTest, FinishGivesOutWhatIsHeldBack) {
    add({0, 2, 5});
    order.finish();
    EXPECT_EQ(out(), "0 (1-1) 2 (3-4) 5 ");
}

TEST_F(StreamOrderTest, TellsANewBeginning) {
    add({0, 2});
    add(9, Arrival::restart);
    add({10});
    EXPECT_EQ(out(), "0 (1-1) 2 |9 [9..10] ");
}

} // namespace
