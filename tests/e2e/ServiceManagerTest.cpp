// SPDX-License-Identifier: MIT
// What feedlined tells the service manager that started it, which the test is.
#include "BusCaller.h"
#include "ControlConnection.h"
#include "EmulatedServer.h"
#include "Loopback.h"
#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;

/// The socket that a service reports to.
class Reports {
public:
    Reports() : socket_(checked(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket")) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path().c_str(), path().size());
        checked(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
    }
    std::string path() const { return folder_.file("notify"); }

    /// The lines of all reports so far.
    const std::vector<std::string>& lines() {
        std::array<char, 4096> buffer{};
        while (readable(socket_.get(), 0)) {
            const auto size = checked(
                static_cast<int>(recv(socket_.get(), buffer.data(), buffer.size(), 0)), "recv");
            std::string text(buffer.data(), static_cast<std::size_t>(size));
            for (std::size_t end = 0; !text.empty(); text.erase(0, end + 1)) {
                end = std::min(text.find('\n'), text.size());
                lines_.push_back(text.substr(0, end));
                if (end == text.size())
                    break;
            }
        }
        return lines_;
    }
    bool comes(const std::string& line) {
        return waitUntil([&] { return std::ranges::find(lines(), line) != lines().end(); });
    }
    auto count(const std::string& line) { return std::ranges::count(lines(), line); }

private:
    TemporaryFolder folder_;
    OwnedDescriptor socket_;
    std::vector<std::string> lines_;
};

struct ServiceManager : ::testing::Test {
    Reports reports;

    Emulated service(const char* devices) const {
        return {.devices = devices, .more = {{"NOTIFY_SOCKET", reports.path()}}};
    }
};

TEST_F(ServiceManager, HearsThatTheServerIsReadyWhenItListens) {
    const EmulatedServer server(receiverHf, service("hf"));
    ASSERT_TRUE(reports.comes("READY=1"));
    EXPECT_TRUE(listening(server.port()));
    EXPECT_THAT(reports.lines(), ElementsAre("READY=1", "STATUS=TCP Server: WAITING FOR CONNECT"));
}

TEST_F(ServiceManager, HearsOfEveryNewStatusOnce) {
    const EmulatedServer server(receiverHf, service("hf"));
    {
        const ControlConnection client(server.port());
        EXPECT_TRUE(reports.comes("STATUS=TCP Server: CONNECTED"));
    }
    EXPECT_TRUE(reports.comes("STATUS=TCP Server: DISCONNECTED"));
    EXPECT_EQ(reports.count("READY=1"), 1);
    EXPECT_EQ(reports.count("STATUS=TCP Server: CONNECTED"), 1);
}

TEST_F(ServiceManager, HearsWhyTheLaunchHasFailed) {
    const EmulatedServer server(receiverHf, service("none"));
    ASSERT_TRUE(reports.comes("READY=1"));
    EXPECT_THAT(reports.lines(),
                Contains("STATUS=Nothing listens: No AirSpyHF+ found - Is it plugged in?"));
}

TEST_F(ServiceManager, HearsOfAnAirspyThatIsNotThereThoughNoAlertTellsOfIt) {
    const EmulatedServer server(receiverAirspy, service("none"));
    ASSERT_TRUE(reports.comes("READY=1"));
    EXPECT_THAT(reports.lines(),
                Contains("STATUS=Nothing listens: the receiver could not be opened"));
}

TEST_F(ServiceManager, HearsThatThePortIsTaken) {
    const ReservedPort port;
    const OwnedDescriptor other = listenOn(port.number());
    const ServerProcess server({.settings = {port.number(), noReceiver, "127.0.0.1"},
                                .environment = {{"NOTIFY_SOCKET", reports.path()}}});
    EXPECT_TRUE(reports.comes("STATUS=TCP Server: BIND FAILED"));
}

TEST_F(ServiceManager, IsToldThatTheMainThreadLivesAndNoLongerWhenItHangs) {
    const PrivateBus bus;
    Emulated emulated = service("hf,airspy");
    emulated.more["WATCHDOG_USEC"] = "100000";
    emulated.more["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    EmulatedServer server(receiverAirspy, emulated);
    ASSERT_TRUE(waitUntil([this] { return reports.count("WATCHDOG=1") >= 5; }));
    // Inside the vendor's library.
    server.receiver.tell("hang hf request:*");
    BusCaller caller(bus.address());
    ASSERT_TRUE(caller.awaitServer());
    ASSERT_EQ(caller.set("Device", "AirSpyHF+"), "");
    caller.send("Restart");
    ASSERT_TRUE(server.process.log.waitFor("devicePopupChange 0"));
    auto before = reports.count("WATCHDOG=1");
    ASSERT_TRUE(waitUntil([&] { // Ten times as long as it usually takes.
        const auto earlier = std::exchange(before, reports.count("WATCHDOG=1"));
        std::this_thread::sleep_for(500ms);
        return earlier == before && reports.count("WATCHDOG=1") == before;
    }));
    server.receiver.tell("resume hf");
    EXPECT_TRUE(waitUntil([&] { return reports.count("WATCHDOG=1") > before; }));
}

TEST_F(ServiceManager, ThatDoesNotWatchIsToldNothingOfIt) {
    const EmulatedServer server(receiverHf, service("hf"));
    const ControlConnection client(server.port());
    EXPECT_TRUE(reports.comes("STATUS=TCP Server: CONNECTED"));
    EXPECT_EQ(reports.count("WATCHDOG=1"), 0);
}

} // namespace
} // namespace feedline::test
