// SPDX-License-Identifier: MIT
// Client after client on real sockets, with the server's own threads, the scripted receivers and a
// clock that the test turns: each connects, runs the receiver and leaves in one way or another.
// Descriptors and memory follow the model exactly: one datagram socket for every run of the UDP
// thread, and nothing else. FEEDLINE_LIFE_CYCLES says how many: 300 otherwise, 10,000 in the long
// form.
#include "Amount.h"
#include "Bytes.h"
#include "ControlConnection.h"
#include "Loopback.h"
#include "MemoryServer.h"
#include "ProcessFacts.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "app/RunTimeState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>
#include <thread>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

const Bytes run{8, 0, 0x18, 0, 0x80, 2, 0x80, 0};
const Bytes stop{8, 0, 0x18, 0, 0x80, 1, 0, 0};
const Bytes askStatus{4, 0x20, 5, 0};
const Bytes tune{10, 0, 0x20, 0, 0, 0x40, 0x42, 0x0F, 0, 0};

/// What the allocator keeps at hand for each thread counts as used, and comes and goes.
constexpr std::size_t breath = 16384; // bytes

/// For one client that connects, runs, asks, tunes and leaves, without the prefixes of the lines.
constexpr std::size_t roomInTheLog = 1024; // bytes

constexpr std::uint64_t warmUp = 30; ///< cycles until every vector has the size it needs

/// Keeps its newest text only: a history of every tick would be all that grows.
class Line : public TextField {
public:
    void setStringValue(const std::string& text) override { text_ = text; }
    std::string stringValue() const override { return text_; }
    void keepNumeric() override {}

private:
    std::string text_;
};

std::size_t serverThreads() {
    return threadsNamed("TCPThread") + threadsNamed("UDPThread");
}

std::size_t recordedBytes() {
    std::size_t bytes = 0;
    for (const auto& line : recordedLines())
        bytes += line.text.size() + 1;
    return bytes;
}

class LifeCycle : public ::testing::Test {
protected:
    LifeCycle() {
        static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // as the programs do
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        resetVendors();
        server.settings.values["sdrPortNumber"] = std::int64_t{port.number()};
        static Line lines[4]; // NOLINT(cppcoreguidelines-avoid-c-arrays)
        server.delegate.serverTcpStatus = &lines[0];
        server.delegate.serverRemoteIP = &lines[1];
        server.delegate.serverRunning = &lines[2];
        server.delegate.serverCenterFrequency = &lines[3];
        server.delegate.applicationDidFinishLaunching();
        listening_ = waitForLine(printed("TCPThread Waiting for incoming connections...\n")) &&
                     waitUntil([] { return serverThreads() == 2; });
    }
    void SetUp() override { ASSERT_TRUE(listening_); }

    /// The client's whole life; how it ends depends on its number.
    void serve(std::uint64_t number) {
        ControlConnection client(port.number());
        client.send(run);
        ASSERT_EQ(client.receiveHex(8), "08 00 18 00 80 02 80 00");
        client.send(askStatus);
        ASSERT_EQ(client.receiveHex(5), "05 00 05 00 0C");
        client.send(tune);
        ASSERT_EQ(client.receiveHex(10), "0A 00 20 00 00 40 42 0F 00 00");
        leave(client, number % 4);
    }

    void leave(ControlConnection& client, std::uint64_t way) {
        switch (way) {
        case 0: // in order
            client.send(stop);
            ASSERT_EQ(client.receiveHex(8), "08 00 18 00 80 01 00 00");
            client.close();
            break;
        case 1: // killed
            client.send(stop);
            client.reset();
            break;
        case 2: // in the middle of a reply: some are on their way, none has been read
            client.send(stop);
            for (int i = 0; i < 50; ++i)
                client.send(askStatus);
            client.reset();
            break;
        default: // at rest, the receiver running
            client.close();
            break;
        }
    }

    /// From the client that has gone to the server that listens again.
    void comeBack() {
        ASSERT_TRUE(server.mainThread.waitAndRunTasks());
        ASSERT_EQ(tcpStatus, tcpDisconnected);
        ASSERT_TRUE(waitForLine(printed("UDPThread exit\n")));
        const std::size_t bytes = recordedBytes(); // since the client before came to this point
        mostOfAClient = std::max(mostOfAClient, bytes);
        ofAllClients += bytes;
        clearRecordedLines();
        vendors().calls.clear();
        server.mainThread.advance(5s);
        ASSERT_TRUE(waitForLine(printed("TCPThread Waiting for incoming connections...\n")));
        ASSERT_TRUE(waitForLine(logged("*** UDP Thread  0")));
        // The UDP thread's socket and the end of the old TCP thread are not announced.
        ASSERT_TRUE(waitUntil([] { return serverThreads() == 2; }));
    }

    /// A datagram socket for every set-up so far, and the listener with the TCP thread's own
    /// descriptor of it. Waits, since the newest sender makes its socket when it gets to it.
    bool holdsWhatItShould(std::uint64_t cycles) const {
        return waitUntil([&] { return openDescriptors() == descriptorsBefore + (cycles + 1) + 2; });
    }

    ReservedPort port;
    Server& server = Server::make();
    const std::size_t descriptorsBefore = openDescriptors();
    std::size_t mostOfAClient = 0; ///< bytes of what was logged and printed
    std::size_t ofAllClients = 0;

private:
    bool listening_ = false;
};

TEST_F(LifeCycle, CostsOneDatagramSocketARunOfTheSenderAndNothingElse) {
    const std::uint64_t cycles = amount("FEEDLINE_LIFE_CYCLES", 300);
    std::size_t bytes = 0;
    for (std::uint64_t n = 0; n < warmUp + cycles; ++n) {
        serve(n);
        comeBack();
        ASSERT_FALSE(HasFatalFailure()) << "cycle " << n;
        if (n + 1 == warmUp) {
            ASSERT_TRUE(holdsWhatItShould(warmUp)) << openDescriptors() - descriptorsBefore;
            bytes = heapInUse();
        }
    }
    ASSERT_TRUE(holdsWhatItShould(warmUp + cycles)) << openDescriptors() - descriptorsBefore;
    const auto grown = static_cast<long long>(heapInUse()) - static_cast<long long>(bytes);
    std::printf("%llu cycles: as many descriptors, %lld bytes of heap, %llu bytes of log each, %zu "
                "at most\n",
                static_cast<unsigned long long>(cycles), grown,
                static_cast<unsigned long long>(ofAllClients / (warmUp + cycles)), mostOfAClient);
    EXPECT_LT(grown, static_cast<long long>(breath));
    EXPECT_LT(mostOfAClient, roomInTheLog);
    EXPECT_EQ(server.alert.shown().size(), 0U);
}

/// What a re-initialisation costs: the list of sample rates, with what holds it.
TEST_F(LifeCycle, ReinitialisationCostsOneRateList) {
    std::size_t before = 0;
    constexpr int times = 10000;
    for (int n = 0; n < times + 10; ++n) {
        if (n == 10)
            before = heapInUse();
        EXPECT_EQ(server.delegate.doDeviceInit(), 0);
        vendors().calls.clear();
        clearRecordedLines();
    }
    const std::size_t grown = heapInUse() - before;
    // Two rates of four bytes, and a list's node of a pointer and a vector: two of the allocator's
    // smallest pieces.
    EXPECT_LE(grown, std::size_t{times} * (32 + 48) + breath);
    std::printf("%d initialisations: %zu bytes of heap\n", times, grown);
}

} // namespace
} // namespace feedline::test
