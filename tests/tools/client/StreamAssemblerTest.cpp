// SPDX-License-Identifier: MIT
#include "tools/client/StreamAssembler.h"

#include "Datagrams.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace feedline::client;
using feedline::test::datagramAt;

namespace {

// What comes out, as text: "5" for a datagram, "(6-8)" for a gap of three.
class StreamAssemblerTest : public testing::Test {
protected:
    void add(std::initializer_list<std::int64_t> positions) {
        for (const std::int64_t position : positions)
            assembler.add(datagramAt(position));
    }
    std::string out() const { return written.str(); }

    std::ostringstream written;
    StreamAssembler assembler{
        {[this](const ReceivedDatagram& datagram) { written << datagram.verdict.position << ' '; },
         [this](std::int64_t from, std::int64_t to) {
             written << '(' << from << '-' << to - 1 << ") ";
         }}};
};

TEST_F(StreamAssemblerTest, PassesOnWhatIsInOrder) {
    add({0, 1, 2});
    EXPECT_EQ(out(), "0 1 2 ");
}

TEST_F(StreamAssemblerTest, BeginsWithTheFirst) {
    add({7, 6, 8});
    EXPECT_EQ(out(), "7 8 ");
}

TEST_F(StreamAssemblerTest, PutsLateOnesInTheirPlace) {
    add({0, 3, 2, 1, 4});
    EXPECT_EQ(out(), "0 1 2 3 4 ");
}

TEST_F(StreamAssemblerTest, WaitsForMissingOnesUntilTheEnd) {
    add({0, 3, 4, 7});
    EXPECT_EQ(out(), "0 ");
    assembler.finish();
    EXPECT_EQ(out(), "0 (1-2) 3 4 (5-6) 7 ");
}

TEST_F(StreamAssemblerTest, GivesAMissingOneUpForEnoughLaterOnes) {
    add({0});
    for (std::int64_t at = 2; at < 2 + static_cast<std::int64_t>(StreamAssembler::mostHeldBack);
         ++at)
        add({at});
    EXPECT_EQ(out(), "0 ");
    add({500});
    EXPECT_TRUE(out().starts_with("0 (1-1) 2 3 4 ")) << out();
    add({1});
    assembler.finish();
    EXPECT_TRUE(out().ends_with(" 257 (258-499) 500 ")) << out();
}

TEST_F(StreamAssemblerTest, LeavesOutDuplicates) {
    add({0, 1, 1, 3, 3});
    assembler.add(datagramAt(4, Arrival::duplicate));
    assembler.finish();
    EXPECT_EQ(out(), "0 1 (2-2) 3 ");
}

} // namespace
