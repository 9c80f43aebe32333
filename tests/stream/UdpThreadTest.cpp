// SPDX-License-Identifier: MIT
// Most tests run the thread's body on the test's own thread and see it through its calls: sendto
// and, while it has nothing to send, usleep. No test waits for time to pass.
#include "Bytes.h"
#include "DatagramWire.h"
#include "MemoryServer.h"
#include "ProcessFacts.h"
#include "RecordingLog.h"
#include "RingMemory.h"
#include "ScriptedVendors.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "stream/SampleRing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
/// In place of usleep while set.
std::function<void(useconds_t)> onSleep;
} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" int __real_usleep(useconds_t duration);
extern "C" int __wrap_usleep(useconds_t duration) {
    if (!onSleep)
        return __real_usleep(duration);
    onSleep(duration);
    return 0;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace feedline {
namespace {

using test::logged;
using test::printed;
using test::Sending;
using test::wire;
using ::testing::ElementsAre;
using ::testing::SizeIs;

const auto started = logged("*** UDP Thread  0");
const auto ended = printed("UDPThread exit\n");
const auto failed = printed("sendto failed\n");

class UdpThread : public ::testing::Test {
public:
    ~UdpThread() override {
        onSleep = nullptr;
        test::resetWire();
        test::resetRunTimeState();
    }

protected:
    UdpThread() {
        test::resetWire();
        udpAddress.assign("127.0.0.1");
        EXPECT_TRUE(makeSampleRing());
        onSleep = [this](useconds_t duration) {
            sleeps.push_back(duration);
            serverActive = false; // What could be sent has been.
        };
        wire().onSend = [this](const Sending& sending) {
            numbers.push_back(sending.datagram().number());
            firstEntries.push_back(sending.datagram().entry(0));
            return static_cast<ssize_t>(sending.bytes.size());
        };
    }

    void runThread() {
        serverActive = true;
        server.delegate.UDPThread();
    }

    /// Marks every slice of the ring with its own number.
    static void markSlices() {
        for (std::int32_t slice = 0; slice < ringEntries / sliceEntries; ++slice)
            test::storeEntry(slice * sliceEntries, static_cast<std::int16_t>(slice));
    }

    test::Server server;
    std::vector<useconds_t> sleeps;
    std::vector<std::uint16_t> numbers;
    std::vector<std::int16_t> firstEntries;
};

TEST_F(UdpThread, SleepsAHundredMicrosecondsWhile511EntriesWait) {
    ringWriteIndex = 511;
    onSleep = [this](useconds_t duration) {
        sleeps.push_back(duration);
        serverActive = sleeps.size() < 5;
    };
    runThread();
    EXPECT_THAT(sleeps, ElementsAre(100, 100, 100, 100, 100));
    EXPECT_EQ(wire().sendings, 0U);
    EXPECT_EQ(ringReadIndex, 0);
    EXPECT_THAT(test::recordedLines(), ElementsAre(started, ended));
}

TEST_F(UdpThread, SendsOneDatagramFor512Entries) {
    ringWriteIndex = 512;
    runThread();
    EXPECT_EQ(wire().sendings, 1U);
    EXPECT_THAT(sleeps, ElementsAre(100));
    EXPECT_EQ(ringReadIndex, 512);
}

TEST_F(UdpThread, SendsWithoutAPauseWhileEnoughWaits) {
    ringWriteIndex = 10 * 512 + 510;
    runThread();
    EXPECT_EQ(wire().sendings, 10U);
    EXPECT_THAT(sleeps, SizeIs(1));
    EXPECT_EQ(ringReadIndex, 10 * 512);
}

TEST_F(UdpThread, DatagramHoldsTheSliceInItsOrder) {
    for (std::int32_t i = 0; i < 3 * 512; ++i)
        test::storeEntry(i, static_cast<std::int16_t>(i * 41));
    ringReadIndex = 512;
    ringWriteIndex = 1024;
    wire().onSend = [](const Sending& sending) {
        EXPECT_EQ(sending.bytes.size(), 1028U);
        EXPECT_EQ(test::hex(sending.bytes.first(4)), "04 84 00 00");
        EXPECT_EQ(sending.flags, 0);
        EXPECT_EQ(sending.toLength, 16U);
        EXPECT_EQ(sending.socket, wire().lastSocket);
        for (std::size_t i = 0; i < 512; ++i)
            EXPECT_EQ(sending.datagram().entry(i), static_cast<std::int16_t>((i + 512) * 41));
        return ssize_t{1028};
    };
    runThread();
    EXPECT_EQ(wire().sendings, 1U);
}

TEST_F(UdpThread, LastSliceOfTheRingIsFollowedByTheFirst) {
    markSlices();
    ringReadIndex = 0xFFFE00;
    ringWriteIndex = 512;
    std::vector<std::int32_t> indices;
    wire().onSend = [&](const Sending& sending) {
        firstEntries.push_back(sending.datagram().entry(0));
        indices.push_back(ringReadIndex);
        return ssize_t{1028};
    };
    runThread();
    EXPECT_THAT(firstEntries, ElementsAre(0x7FFF, 0)); // Slice 0x7FFF begins at 0xFFFE00.
    EXPECT_THAT(indices, ElementsAre(0, 512));
}

TEST_F(UdpThread, LastSliceHoldsTheRingsLastEntries) {
    test::storeEntry(0xFFFE00, 11);
    test::storeEntry(0xFFFFFF, 22);
    ringReadIndex = 0xFFFE00;
    ringWriteIndex = 0;
    wire().onSend = [](const Sending& sending) {
        EXPECT_EQ(sending.datagram().entry(0), 11);
        EXPECT_EQ(sending.datagram().entry(511), 22);
        return ssize_t{1028};
    };
    runThread();
    EXPECT_EQ(wire().sendings, 1U);
    EXPECT_EQ(ringReadIndex, 0);
}

TEST_F(UdpThread, IndexMovesBeforeTheSend) {
    ringWriteIndex = 512;
    wire().onSend = [](const Sending&) {
        EXPECT_EQ(ringReadIndex, 512);
        return ssize_t{1028};
    };
    runThread();
    EXPECT_EQ(wire().sendings, 1U);
}

TEST_F(UdpThread, NumbersGoUpFromZeroAtEveryRun) {
    for (int run = 0; run < 3; ++run) {
        numbers.clear();
        ringWriteIndex = (ringWriteIndex + 4 * 512) % ringEntries;
        runThread();
        EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3));
    }
    EXPECT_EQ(dataSequence, 0); // The other sender's.
}

TEST_F(UdpThread, Number65535IsFollowedByZero) {
    onSleep = [this](useconds_t) {
        ringWriteIndex = (ringReadIndex + ringEntries - 512) % ringEntries;
        serverActive = numbers.size() < 65538;
    };
    runThread();
    ASSERT_GE(numbers.size(), 65538U);
    for (std::size_t i = 0; i < numbers.size(); ++i)
        ASSERT_EQ(numbers[i], i % 65536);
}

TEST_F(UdpThread, BacklogIsSentOldestFirstByTheNextRun) {
    markSlices();
    ringWriteIndex = 10 * 512;
    const auto record = wire().onSend;
    wire().onSend = [&](const Sending& sending) {
        serverActive = sending.datagram().number() < 2; // The client goes during the third.
        return record(sending);
    };
    runThread();
    EXPECT_THAT(firstEntries, ElementsAre(0, 1, 2));
    ringWriteIndex = 12 * 512; // The receiver goes on.
    wire().onSend = record;
    runThread();
    EXPECT_THAT(firstEntries, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 0, 1, 2, 3, 4, 5, 6, 7, 8));
}

TEST_F(UdpThread, RingThatWasWrittenRoundExactlyOnceReadsAsEmpty) {
    ringReadIndex = 1024;
    ringWriteIndex = 1024;
    runThread();
    EXPECT_EQ(wire().sendings, 0U);
}

TEST_F(UdpThread, FailedSendLosesTheSliceAndUsesItsNumber) {
    markSlices();
    ringWriteIndex = 4 * 512;
    const auto record = wire().onSend;
    wire().onSend = [&](const Sending& sending) {
        record(sending);
        errno = ECONNREFUSED;
        return sending.datagram().number() == 1 ? ssize_t{-1} : ssize_t{1028};
    };
    runThread();
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(firstEntries, ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(ringReadIndex, 4 * 512);
    EXPECT_THAT(test::recordedLines(), ElementsAre(started, failed, ended));
}

TEST_F(UdpThread, WithoutASocketItEndsAtOnceAndLeavesTheRing) {
    ringWriteIndex = 1024;
    wire().onSocket = [] {
        return -1;
    };
    runThread();
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(started, printed("cannot create UDP send socket\n")));
    EXPECT_EQ(wire().sendings, 0U);
    EXPECT_EQ(ringReadIndex, 0);
    EXPECT_TRUE(serverActive);
}

TEST_F(UdpThread, PollsWithoutTouchingARingThatWasNeverMade) {
    test::resetRunTimeState();
    onSleep = [this](useconds_t duration) {
        sleeps.push_back(duration);
        serverActive = sleeps.size() < 3;
    };
    runThread();
    EXPECT_THAT(sleeps, ElementsAre(100, 100, 100));
    EXPECT_EQ(sampleRing.load(), nullptr);
    EXPECT_EQ(wire().sendings, 0U);
}

TEST_F(UdpThread, InactiveServerEndsItBeforeItSendsAnything) {
    ringWriteIndex = 1024;
    serverActive = false;
    server.delegate.UDPThread();
    EXPECT_THAT(test::recordedLines(), ElementsAre(started, ended));
    EXPECT_EQ(wire().sendings, 0U);
    EXPECT_EQ(wire().socketsAskedFor, 1);
}

TEST_F(UdpThread, EndsAfterTheDatagramInHand) {
    ringWriteIndex = 10 * 512;
    wire().onSend = [](const Sending&) {
        serverActive = false;
        return ssize_t{1028};
    };
    runThread();
    EXPECT_EQ(wire().sendings, 1U);
    EXPECT_THAT(sleeps, SizeIs(0));
}

TEST_F(UdpThread, EveryRunLeavesItsSocketOpen) {
    std::vector<int> made;
    for (int run = 0; run < 3; ++run) {
        runThread();
        made.push_back(wire().lastSocket);
    }
    EXPECT_EQ(wire().socketsAskedFor, 3);
    EXPECT_NE(made[0], made[1]);
    EXPECT_NE(made[1], made[2]);
    for (const int socket : made) {
        EXPECT_TRUE(test::isOpen(socket));
        ::close(socket);
    }
}

TEST_F(UdpThread, DestinationIsThatOfTheThreadsStart) {
    serverPortNumber = 70000;
    ringWriteIndex = 3 * 512;
    std::vector<std::string> destinations;
    wire().onSend = [&](const Sending& sending) {
        destinations.push_back(sending.destination());
        udpAddress.assign("127.0.0.2");
        serverPortNumber = 1234;
        return ssize_t{1028};
    };
    runThread();
    EXPECT_THAT(destinations, ElementsAre("127.0.0.1:4464", "127.0.0.1:4464", "127.0.0.1:4464"));
    ringWriteIndex = 4 * 512;
    runThread();
    EXPECT_EQ(destinations.back(), "127.0.0.2:1234");
}

TEST_F(UdpThread, AddressThatCannotBeReadIsNotDetected) {
    udpAddress.assign("somewhere");
    ringWriteIndex = 512;
    wire().onSend = nullptr; // The system refuses to send there.
    runThread();
    EXPECT_THAT(test::recordedLines(), ElementsAre(started, failed, ended));
}

} // namespace
} // namespace feedline
