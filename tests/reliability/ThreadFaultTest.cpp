// The system refuses the server a thread, once at each place that asks for one and then always: one
// line says which, the rest goes on, and the next set-up starts what is missing.
#include "Bytes.h"
#include "ControlConnection.h"
#include "Loopback.h"
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "app/RunTimeState.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

namespace {
/// Bit n: the n-th thread asked for is refused.
std::atomic<unsigned> refused = 0;
std::atomic<unsigned> asked = 0;
} // namespace

// What std::thread starts a thread with, as far as the linker is concerned.
using Start = void(std::thread*, std::unique_ptr<std::thread::_State>, void (*)());
Start realStart __asm__(
    "__real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_"
    "EEPFvvE");
Start startOrRefuse __asm__(
    "__wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_"
    "EEPFvvE");
void startOrRefuse(std::thread* thread, std::unique_ptr<std::thread::_State> state,
                   void (*depend)()) {
    if ((refused >> asked++ & 1U) != 0)
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    realStart(thread, std::move(state), depend);
}

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

const auto noUdpThread = logged("UDPThread could not be started");
const auto noTcpThread = logged("TCPThread could not be started");
const auto udpStarted = logged("*** UDP Thread  0");
const auto listens = printed("TCPThread Waiting for incoming connections...\n");

class ThreadFault : public ::testing::Test {
protected:
    void launchWithRefusal(unsigned threads) {
        refused = threads;
        asked = 0;
        server.settings.values["sdrPortNumber"] = std::int64_t{port.number()};
        server.delegate.applicationDidFinishLaunching();
    }
    void serveOneClient() {
        ControlConnection client(port.number());
        client.send(Bytes{4, 0x20, 5, 0});
        EXPECT_EQ(client.receiveHex(5), "05 00 05 00 0B");
        client.close();
    }

    ReservedPort port;
    Server& server = Server::make();
};

TEST_F(ThreadFault, WithoutASenderTheControlPortServesAndTheNextSetUpHasBoth) {
    launchWithRefusal(0b01);
    ASSERT_TRUE(waitForLine(listens));
    EXPECT_EQ(countOf(noUdpThread), 1);
    EXPECT_EQ(countOf(udpStarted), 0);
    serveOneClient();
    ASSERT_TRUE(server.mainThread.waitAndRunTasks());
    server.mainThread.advance(5s);
    ASSERT_TRUE(waitForLine(listens, 2));
    ASSERT_TRUE(waitForLine(udpStarted));
    serveOneClient();
    EXPECT_EQ(countOf(noTcpThread), 0);
}

TEST_F(ThreadFault, WithoutAServerThreadNobodyListensAndTheStatusStays) {
    launchWithRefusal(0b10);
    ASSERT_TRUE(waitForLine(udpStarted));
    EXPECT_EQ(countOf(noTcpThread), 1);
    EXPECT_EQ(countOf(listens), 0);
    EXPECT_EQ(tcpStatus, tcpWaiting);
    EXPECT_EQ(server.alert.shown().size(), 0U);
}

TEST_F(ThreadFault, WithoutAnyThreadTheProgramStillTicksAndSaves) {
    launchWithRefusal(~0U);
    EXPECT_EQ(countOf(noUdpThread), 1);
    EXPECT_EQ(countOf(noTcpThread), 1);
    server.mainThread.advance(3s);
    EXPECT_EQ(server.serverTcpStatus.stringValue(), "TCP Server: WAITING FOR CONNECT");
    server.mainThread.terminate();
    EXPECT_EQ(server.settings.integerForKey("sdrPortNumber"), port.number());
}

} // namespace
} // namespace feedline::test
