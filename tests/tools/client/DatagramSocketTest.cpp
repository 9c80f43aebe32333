// SPDX-License-Identifier: MIT
#include "tools/client/DatagramSocket.h"

#include "ScriptedServer.h"
#include "tools/client/Failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <poll.h>

using namespace feedline::client;
using feedline::test::ScriptedServer;
namespace datagram = feedline::datagram;

namespace {

class DatagramSocketTest : public testing::Test {
protected:
    void send(std::uint16_t number) {
        ScriptedServer::Samples samples;
        samples.fill(static_cast<std::int16_t>(number));
        server.sendDatagram(number, samples);
    }
    void sendJunk(std::size_t length) {
        const std::vector<std::uint8_t> junk(length, 0x55);
        server.sendBytes(junk.data(), junk.size());
    }
    // On loopback what has been sent has arrived.
    std::size_t receive() { return socket.receive(block); }

    ScriptedServer server;
    DatagramSocket socket{"127.0.0.1", server.port(), 1 << 20};
    DatagramBlock block;
};

TEST_F(DatagramSocketTest, NothingHasCome) {
    EXPECT_EQ(receive(), 0U);
    EXPECT_FALSE(block.full());
}

TEST_F(DatagramSocketTest, SamplesOfSeveralLieBackToBack) {
    for (std::uint16_t number = 65533; number != 2; ++number)
        send(number);
    const std::int64_t now = std::time(nullptr);
    ASSERT_EQ(receive(), 5U);
    EXPECT_EQ(block.number(0), 65533);
    EXPECT_EQ(block.number(4), 1);
    const auto all = block.samples(0, 5);
    ASSERT_EQ(all.size(), 5 * datagram::entries);
    for (std::size_t at = 0; at < 5; ++at) {
        EXPECT_EQ(block.samples(at).data(), &all[at * datagram::entries]);
        EXPECT_TRUE(std::ranges::all_of(block.samples(at), [&](std::int16_t sample) {
            return sample == static_cast<std::int16_t>(block.number(at));
        }));
        EXPECT_NEAR(static_cast<double>(block.nanoseconds(at)) * 1e-9, static_cast<double>(now),
                    600);
    }
}

TEST_F(DatagramSocketTest, LeavesOutWhatIsNoDatagramOfAServer) {
    send(1);
    sendJunk(datagram::size);
    sendJunk(0);
    send(2);
    sendJunk(datagram::size + 1);
    sendJunk(datagram::size - 1);
    send(3);
    ASSERT_EQ(receive(), 3U);
    EXPECT_EQ(block.malformed(), 4U);
    for (std::size_t at = 0; at < 3; ++at) {
        EXPECT_EQ(block.number(at), at + 1);
        EXPECT_EQ(block.samples(at).front(), static_cast<int>(at) + 1);
        EXPECT_EQ(block.samples(at).back(), static_cast<int>(at) + 1);
    }
}

// The memory is used again: nothing of an earlier block may show.
TEST_F(DatagramSocketTest, TakesAsMuchAsTheBlockHolds) {
    constexpr auto capacity = static_cast<std::uint16_t>(DatagramBlock::usualCapacity);
    for (std::uint16_t number = 0; number < capacity + 3; ++number)
        send(number);
    ASSERT_EQ(receive(), capacity);
    EXPECT_TRUE(block.full());
    ASSERT_EQ(receive(), 3U);
    EXPECT_FALSE(block.full());
    EXPECT_EQ(block.number(0), capacity);
    EXPECT_EQ(block.samples(2).back(), capacity + 2);
}

TEST_F(DatagramSocketTest, TellsOfTheBufferAndItsOverflow) {
    const std::uint16_t port = server.port();
    EXPECT_GE(socket.grantedBuffer(), 64 << 10);
    for (std::uint16_t number = 0; number < 6000; ++number)
        send(number);
    while (receive() != 0) {
    }
    send(6000); // carries the count
    receive();
    EXPECT_GT(socket.overflowed(), 0U);
    try {
        const DatagramSocket second("127.0.0.1", port);
        FAIL() << "two sockets on one port";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.trouble, Trouble::portInUse);
    }
}

TEST(DatagramSocketAddressTest, RefusesWhatIsNoAddress) {
    try {
        const DatagramSocket socket("localhost", 1);
        FAIL() << "took a name";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.trouble, Trouble::badAddress);
    }
}

} // namespace
