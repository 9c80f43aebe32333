// SPDX-License-Identifier: MIT
// The gains of a real server over an emulated AirSpy, through a message bus of the test's own.
#include "tools/gains/AirspyGains.h"

#include "BusCaller.h"
#include "EmulatedServer.h"
#include "PrivateBus.h"
#include "Waiting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>

namespace feedline::gains {
namespace {

using namespace feedline::test;
using namespace std::chrono_literals;

constexpr auto never = "unix:path=/nonexistent";
constexpr auto lna = placeOf("lna");
constexpr auto lnaAgc = placeOf("lna-agc");

class AirspyGainsTest : public ::testing::Test {
protected:
    AirspyGainsTest() { callersSee(bus.address().c_str(), never); }

    static void callersSee(const char* session, const char* system) {
        setenv("DBUS_SESSION_BUS_ADDRESS", session, 1);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", system, 1);
    }
    void startServer(int type = receiverAirspy) {
        server = std::make_unique<EmulatedServer>(
            type, Emulated{.devices = "hf,airspy",
                           .more = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
        ASSERT_TRUE(BusCaller(bus.address()).awaitServer());
    }
    void look(const std::string& host, std::uint16_t port) {
        gains = std::make_unique<AirspyGains>(host, port, [this] { ++changes; });
        ASSERT_TRUE(gains->settle(60s));
    }
    bool become(std::size_t place, std::int32_t value) const {
        return waitUntil([&] {
            const auto values = gains->values();
            return values && values->at(place) == value;
        });
    }
    bool vanish() const {
        return waitUntil([&] { return !gains->values(); });
    }

    PrivateBus bus;
    std::unique_ptr<EmulatedServer> server;
    std::atomic<int> changes{0};
    std::unique_ptr<AirspyGains> gains;
};

TEST_F(AirspyGainsTest, ReachTheReceiver) {
    startServer();
    look("127.0.0.1", server->port());
    ASSERT_TRUE(gains->values());
    EXPECT_TRUE(gains->set(lna, 7));
    EXPECT_TRUE(gains->set(lnaAgc, 1));
    EXPECT_TRUE(become(lna, 7));
    EXPECT_TRUE(become(lnaAgc, 1));
    EXPECT_EQ(server->receiver.value("airspy", "lna-gain"), "7");
    EXPECT_EQ(server->receiver.value("airspy", "lna-agc"), "1");
}

TEST_F(AirspyGainsTest, AreBroughtIntoTheirRange) {
    startServer();
    look("localhost", server->port());
    EXPECT_TRUE(gains->set(lna, 99));
    EXPECT_TRUE(become(lna, highestLnaGain));
    EXPECT_TRUE(gains->set(lna, -5));
    EXPECT_TRUE(become(lna, 0));
    EXPECT_FALSE(gains->set(table.size(), 1));
}

TEST_F(AirspyGainsTest, ShowWhatSomebodyElseHasSet) {
    startServer();
    look("127.0.0.1", server->port());
    const int before = changes;
    EXPECT_EQ(BusCaller(bus.address()).set("VgaGain", std::int32_t{3}), "");
    EXPECT_TRUE(become(placeOf("vga"), 3));
    EXPECT_GT(changes, before);
}

TEST_F(AirspyGainsTest, AreNobodysWithoutAnAirSpy) {
    startServer(receiverHf);
    look("127.0.0.1", server->port());
    EXPECT_FALSE(gains->values());
    EXPECT_FALSE(gains->set(lna, 7));
}

TEST_F(AirspyGainsTest, OfAnotherServerAreLeftAlone) {
    startServer();
    look("127.0.0.1", static_cast<std::uint16_t>(server->port() ^ 1U));
    EXPECT_FALSE(gains->values());
    look("192.0.2.1", server->port());
    EXPECT_FALSE(gains->values());
    EXPECT_FALSE(gains->set(lna, 7));
}

TEST_F(AirspyGainsTest, ComeAndGoWithTheServer) {
    look("127.0.0.1", 50000);
    EXPECT_FALSE(gains->values());
    startServer();
    look("127.0.0.1", server->port());
    EXPECT_TRUE(become(lna, 0));
    server->process.end(SIGTERM, "while its gains are watched");
    EXPECT_TRUE(vanish());
}

TEST_F(AirspyGainsTest, AreFoundWhenTheBusComesLater) {
    startServer();
    bus.stop();
    look("127.0.0.1", server->port());
    EXPECT_FALSE(gains->values());
    bus.start();
    EXPECT_TRUE(waitUntil([&] { return gains->values().has_value(); }));
    bus.stop();
    EXPECT_TRUE(vanish());
}

TEST_F(AirspyGainsTest, AreOnTheSystemBusToo) {
    server = std::make_unique<EmulatedServer>(
        receiverAirspy, Emulated{.devices = "airspy",
                                 .more = {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()},
                                          {"DBUS_STARTER_BUS_TYPE", "system"}}});
    ASSERT_TRUE(BusCaller(bus.address()).awaitServer());
    callersSee(never, bus.address().c_str());
    look("127.0.0.1", server->port());
    EXPECT_TRUE(gains->values());
}

// A server that is stopped answers no call, and nothing may wait for it at the end.
TEST_F(AirspyGainsTest, EndWhileTheServerIsSilent) {
    startServer();
    look("127.0.0.1", server->port());
    server->process.signal(SIGSTOP);
    EXPECT_TRUE(gains->set(lna, 7));
    EXPECT_TRUE(vanish());
    gains.reset();
    server->process.signal(SIGCONT);
}

} // namespace
} // namespace feedline::gains
