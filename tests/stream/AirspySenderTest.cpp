// SPDX-License-Identifier: MIT
#include "Bytes.h"
#include "CountedAllocations.h"
#include "DatagramReceiver.h"
#include "DatagramWire.h"
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <string>
#include <vector>

namespace feedline {
namespace {

using test::logged;
using test::printed;
using test::Sending;
using test::wire;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const auto failed = printed("sendto failed\n");

class AirspySender : public ::testing::Test {
public:
    ~AirspySender() override {
        test::resetWire();
        test::resetRunTimeState();
    }

protected:
    AirspySender() {
        test::resetRunTimeState();
        test::resetWire();
        test::clearRecordedLines();
        udpAddress.assign("127.0.0.1");
        wire().onSend = [this](const Sending& sending) {
            numbers.push_back(sending.datagram().number());
            return static_cast<ssize_t>(sending.bytes.size());
        };
    }

    /// Delivers a block of `pairs` pairs whose entries count up from `first`.
    static int deliver(int pairs, std::uint64_t dropped = 0, std::int16_t first = 0) {
        std::vector<std::int16_t> samples(pairs > 0 ? 2 * static_cast<std::size_t>(pairs) : 2);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<std::int16_t>(static_cast<std::size_t>(first) + i);
        return deliver(samples, pairs, dropped);
    }

    static int deliver(std::vector<std::int16_t>& samples, int pairs, std::uint64_t dropped = 0) {
        airspy_transfer_t transfer{};
        transfer.samples = samples.data();
        transfer.sample_count = pairs;
        transfer.dropped_samples = dropped;
        transfer.sample_type = AIRSPY_SAMPLE_INT16_IQ;
        return airspySampleCallback(&transfer);
    }

    std::vector<std::uint16_t> numbers;
};

TEST_F(AirspySender, BlocksOfLessThan256PairsSendNothingAndAreCounted) {
    for (int pairs = 0; pairs < 256; ++pairs) {
        samplesStreamed = 1000;
        EXPECT_EQ(deliver(pairs), 0);
        EXPECT_EQ(samplesStreamed, 1000 + pairs);
    }
    EXPECT_EQ(wire().sendings, 0U);
    EXPECT_EQ(dataSequence, 0);
    EXPECT_THAT(test::recordedLines(), IsEmpty());
}

TEST_F(AirspySender, ExactlyOneGroupIsOneDatagram) {
    EXPECT_EQ(deliver(256), 0);
    EXPECT_THAT(numbers, ElementsAre(0));
    EXPECT_EQ(dataSequence, 1);
    EXPECT_EQ(samplesStreamed, 256);
}

TEST_F(AirspySender, IncompleteGroupIsDroppedAndCounted) {
    wire().onSend = [](const Sending& sending) {
        for (std::size_t i = 0; i < 512; ++i)
            EXPECT_EQ(sending.datagram().entry(i), static_cast<std::int16_t>(i));
        return ssize_t{1028};
    };
    deliver(300);
    EXPECT_EQ(wire().sendings, 1U);
    EXPECT_EQ(samplesStreamed, 300);
    wire().onSend = [](const Sending& sending) {
        EXPECT_EQ(sending.datagram().entry(0), 5000); // Nothing is carried over.
        return ssize_t{1028};
    };
    deliver(256, 0, 5000);
    EXPECT_EQ(wire().sendings, 2U);
    EXPECT_EQ(samplesStreamed, 556);
}

TEST_F(AirspySender, WholeBlockLeavesAs256Datagrams) {
    std::size_t next = 0;
    bool right = true;
    wire().onSend = [&](const Sending& sending) {
        right = right && sending.bytes.size() == 1028 && sending.flags == 0 &&
                sending.toLength == 16 && sending.bytes[0] == 0x04 && sending.bytes[1] == 0x84 &&
                sending.datagram().number() == next / 512 && sending.socket == udpSocket;
        for (std::size_t i = 0; i < 512; ++i)
            right = right && sending.datagram().entry(i) == static_cast<std::int16_t>(next++);
        return ssize_t{1028};
    };
    deliver(65536);
    EXPECT_TRUE(right);
    EXPECT_EQ(wire().sendings, 256U);
    EXPECT_EQ(dataSequence, 256);
    EXPECT_EQ(samplesStreamed, 65536);
}

TEST_F(AirspySender, SamplesAreSentAsTheyAre) {
    std::vector<std::int16_t> samples(512, std::numeric_limits<std::int16_t>::min());
    samples[1] = std::numeric_limits<std::int16_t>::max();
    samples[2] = -1;
    samples[3] = 0x1234;
    wire().onSend = [](const Sending& sending) {
        EXPECT_EQ(test::hex(sending.bytes.subspan(4, 8)), "00 80 FF 7F FF FF 34 12");
        return ssize_t{1028};
    };
    deliver(samples, 256);
    EXPECT_EQ(wire().sendings, 1U);
}

TEST_F(AirspySender, NumbersRunOnAcrossBlocksAndServerStates) {
    deliver(512);
    serverActive = false;
    tcpStatus = tcpDisconnected;
    clientSocket = -1;
    deliver(300); // Nobody is connected; the stream does not care.
    isStreaming = 0;
    deliver(256);
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3));
}

TEST_F(AirspySender, Number65535IsFollowedByZero) {
    dataSequence = 65534;
    deliver(4 * 256);
    EXPECT_THAT(numbers, ElementsAre(65534, 65535, 0, 1));
    EXPECT_EQ(dataSequence, 2);
}

TEST_F(AirspySender, NumberIsUsedUpBeforeTheSend) {
    wire().onSend = [](const Sending& sending) {
        EXPECT_EQ(dataSequence, sending.datagram().number() + 1);
        return ssize_t{1028};
    };
    deliver(512);
    EXPECT_EQ(wire().sendings, 2U);
}

TEST_F(AirspySender, FailedSendUsesItsNumberAndTheNextFollows) {
    const auto record = wire().onSend;
    wire().onSend = [&](const Sending& sending) {
        record(sending);
        errno = ECONNREFUSED;
        return sending.datagram().number() == 2 ? ssize_t{-1} : ssize_t{1028};
    };
    EXPECT_EQ(deliver(5 * 256), 0);
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(test::recordedLines(), ElementsAre(failed));
    EXPECT_EQ(samplesStreamed, 5 * 256);
}

TEST_F(AirspySender, SocketIsMadeOnceWithTheFirstBlock) {
    EXPECT_EQ(udpSocket, -1);
    deliver(0);
    EXPECT_EQ(wire().socketsAskedFor, 1);
    EXPECT_EQ(udpSocket, wire().lastSocket);
    deliver(1024);
    deliver(1024);
    EXPECT_EQ(wire().socketsAskedFor, 1);
}

TEST_F(AirspySender, SocketThatCannotBeMadeIsTriedAgainWithTheNextBlock) {
    test::DatagramReceiver receiver;
    wire().onSocket = [] {
        return -1;
    };
    wire().onSend = nullptr; // The system refuses to send on -1.
    EXPECT_EQ(deliver(512), 0);
    EXPECT_EQ(wire().sendings, 2U);
    EXPECT_THAT(test::recordedLines(), ElementsAre(failed, failed));
    EXPECT_EQ(udpSocket, -1);
    EXPECT_EQ(dataSequence, 2);
    EXPECT_EQ(samplesStreamed, 512);

    wire().onSocket = nullptr;
    serverPortNumber = receiver.port();
    deliver(256);
    EXPECT_NE(udpSocket, -1);
    const test::Bytes received = receiver.receive();
    ASSERT_EQ(received.size(), 1028U);
    EXPECT_EQ(test::hex(std::span(received).first(4)), "04 84 02 00");
}

TEST_F(AirspySender, DestinationIsThatOfTheFirstBlock) {
    std::vector<std::string> destinations;
    wire().onSend = [&](const Sending& sending) {
        destinations.push_back(sending.destination());
        return ssize_t{1028};
    };
    serverPortNumber = 70000;
    deliver(0);
    udpAddress.assign("127.0.0.2");
    serverPortNumber = 1234;
    deliver(512);
    EXPECT_THAT(destinations, ElementsAre("127.0.0.1:4464", "127.0.0.1:4464"));
}

TEST_F(AirspySender, AddressThatCannotBeReadIsNotDetected) {
    udpAddress.assign("somewhere");
    wire().onSend = nullptr; // The system refuses to send there.
    deliver(512);
    EXPECT_THAT(test::recordedLines(), ElementsAre(failed, failed));
}

TEST_F(AirspySender, CountWrapsLikeARegister) {
    samplesStreamed = std::numeric_limits<std::int32_t>::max();
    deliver(2);
    EXPECT_EQ(samplesStreamed, std::numeric_limits<std::int32_t>::min() + 1);
}

TEST_F(AirspySender, DroppedSamplesAreLoggedAndChangeNothing) {
    EXPECT_EQ(deliver(300, 7), 0);
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(logged("myCallback 2 300 7 9999999.000000 0.000000")));
    EXPECT_THAT(numbers, ElementsAre(0));
    EXPECT_EQ(samplesStreamed, 300);
    test::clearRecordedLines();
    deliver(0, std::numeric_limits<std::uint64_t>::max());
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(logged("myCallback 2 0 18446744073709551615 9999999.000000 0.000000")));
}

TEST_F(AirspySender, DroppedSamplesAreLoggedAfterTheSends) {
    wire().onSend = [](const Sending&) {
        return ssize_t{-1};
    };
    deliver(256, 1);
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(failed, logged("myCallback 2 256 1 9999999.000000 0.000000")));
}

TEST_F(AirspySender, AllocatesNothingAndSendsOncePerGroup) {
    std::vector<std::int16_t> samples(std::size_t{2} * 65536);
    wire().onSend = [](const Sending&) {
        return ssize_t{1028};
    };
    const long atFirst = test::allocations();
    EXPECT_NE(std::vector<char>(100).data(), nullptr); // The counting does count.
    EXPECT_GT(test::allocations(), atFirst);
    deliver(samples, 0);
    const long before = test::allocations();
    for (int block = 0; block < 10; ++block)
        deliver(samples, 65536);
    EXPECT_EQ(test::allocations(), before);
    EXPECT_EQ(wire().sendings, 2560U);
    EXPECT_EQ(wire().socketsAskedFor, 1);
}

TEST_F(AirspySender, DatagramsArriveOverTheNetwork) {
    test::DatagramReceiver receiver;
    serverPortNumber = receiver.port();
    wire().onSend = nullptr;
    std::size_t next = 0;
    for (int block = 0; block < 100; ++block) {
        deliver(32 * 256, 0, static_cast<std::int16_t>(next));
        for (int k = 0; k < 32; ++k) {
            const test::Bytes bytes = receiver.receive();
            ASSERT_EQ(bytes.size(), 1028U);
            const test::DatagramView datagram(bytes);
            ASSERT_EQ(datagram.number(), next / 512);
            for (std::size_t i = 0; i < 512; ++i)
                ASSERT_EQ(datagram.entry(i), static_cast<std::int16_t>(next++));
        }
    }
    EXPECT_FALSE(receiver.hasInput());
    EXPECT_THAT(test::recordedLines(), IsEmpty());
}

} // namespace
} // namespace feedline
