// SPDX-License-Identifier: MIT
#include "stream/DataDatagram.h"

#include "app/RunTimeState.h"
#include "stream/DatagramSocket.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <numeric>
#include <string>

namespace feedline {
namespace {

TEST(DataDatagram, Is1028BytesOf256Pairs) {
    EXPECT_EQ(datagram::size, 1028U);
    EXPECT_EQ(datagram::pairs, 256U);
    EXPECT_EQ(datagram::entries, 512U);
    EXPECT_EQ(datagram::sampleBytes, 1024U);
    EXPECT_EQ(datagram::sampleOffset, 4U);
    EXPECT_EQ(DatagramBuffer::size(), 1028U);
}

TEST(DataDatagram, HeaderWordHoldsTypeFourAndTheWholeLength) {
    EXPECT_EQ(datagram::header >> 13U, 4);
    EXPECT_EQ(datagram::header & 0x1FFFU, 1028U);
}

TEST(DataDatagram, HeaderIsFollowedByTheNumberLowByteFirst) {
    for (const unsigned number : {0x0000U, 0x0001U, 0x00FFU, 0x0100U, 0x1234U, 0xFFFFU}) {
        std::array<std::uint8_t, 5> bytes{0, 0, 0, 0, 0xEE};
        datagram::putHeader(bytes.data(), static_cast<std::uint16_t>(number));
        EXPECT_EQ(bytes, (std::array<std::uint8_t, 5>{
                             0x04, 0x84, static_cast<std::uint8_t>(number & 0xFFU),
                             static_cast<std::uint8_t>(number >> 8U), 0xEE}));
    }
}

TEST(DataDatagram, SamplesAreLittleEndianOnTheWire) {
    DatagramBuffer buffer{};
    std::array<std::int16_t, datagram::entries> samples{};
    std::iota(samples.begin(), samples.end(), std::int16_t{-256});
    std::memcpy(buffer.samples(), samples.data(), datagram::sampleBytes);
    datagram::samplesToWire(buffer.data());
    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(
            static_cast<std::int16_t>(buffer.data()[4 + 2 * i] | buffer.data()[5 + 2 * i] << 8U),
            samples.at(i));
}

TEST(DataDatagram, SamplesBeginACacheLineRightBehindTheHeader) {
    DatagramBuffer buffer;
    EXPECT_EQ(buffer.samples(), buffer.data() + 4);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.samples()) % 64, 0U);
}

class DatagramDestination : public ::testing::Test {
protected:
    static std::string destination(const char* address, std::int32_t port) {
        udpAddress.assign(address);
        serverPortNumber = port;
        const sockaddr_in to = datagramDestination();
        EXPECT_EQ(to.sin_family, AF_INET);
        return std::string(::inet_ntoa(to.sin_addr)) + ":" + std::to_string(ntohs(to.sin_port));
    }
};

TEST_F(DatagramDestination, IsTheAddressAndThePortInForce) {
    EXPECT_EQ(destination("127.0.0.1", 50000), "127.0.0.1:50000");
    EXPECT_EQ(destination("192.168.1.10", 1), "192.168.1.10:1");
}

TEST_F(DatagramDestination, TakesThePortsLowSixteenBits) {
    EXPECT_EQ(destination("127.0.0.1", 70000), "127.0.0.1:4464");
    EXPECT_EQ(destination("127.0.0.1", -1), "127.0.0.1:65535");
}

TEST_F(DatagramDestination, TakesAnAddressThatCannotBeReadAsItComes) {
    for (const char* unreadable : {"", "localhost", "1.2.3.256", "127.0.0.1:5"})
        EXPECT_EQ(destination(unreadable, 5), "255.255.255.255:5") << unreadable;
}

} // namespace
} // namespace feedline
