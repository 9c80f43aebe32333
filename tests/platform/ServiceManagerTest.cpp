// SPDX-License-Identifier: MIT
// The service manager is a socket of the test's own.
#include "platform/ServiceManager.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace feedline {
namespace {

using namespace std::chrono_literals;

class ServiceManager : public ::testing::Test {
public:
    /// In the name space without files, under a name that the system chooses.
    ServiceManager() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(socket_, plain, sizeof address.sun_family), 0);
        socklen_t length = sizeof address;
        EXPECT_EQ(getsockname(socket_, plain, &length), 0);
        const std::string name(&address.sun_path[1], length - offsetof(sockaddr_un, sun_path) - 1);
        setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
    }
    ~ServiceManager() override {
        close(socket_);
        for (const char* variable : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            unsetenv(variable);
    }

protected:
    std::string told() const {
        std::array<char, 256> text{};
        const ssize_t length = recv(socket_, text.data(), text.size(), 0);
        return length < 0 ? "" : std::string(text.data(), static_cast<std::size_t>(length));
    }

private:
    int socket_;
};

TEST_F(ServiceManager, IsToldWhatTheProgramDoes) {
    reportReady("listens");
    EXPECT_EQ(told(), "READY=1\nSTATUS=listens");
    reportStatus("serves a client");
    EXPECT_EQ(told(), "STATUS=serves a client");
    reportAlive();
    EXPECT_EQ(told(), "WATCHDOG=1");
}

TEST_F(ServiceManager, HearsNothingWhereThereIsNone) {
    unsetenv("NOTIFY_SOCKET");
    reportReady("listens");
    reportAlive();
    EXPECT_EQ(told(), "");
}

TEST_F(ServiceManager, WatchesAtHalfOfItsLimit) {
    setenv("WATCHDOG_USEC", "30000000", 1);
    EXPECT_EQ(aliveInterval(), 15s);
}

TEST_F(ServiceManager, TheShortestIntervalIsAMillisecond) {
    setenv("WATCHDOG_USEC", "1", 1);
    EXPECT_EQ(aliveInterval(), 1ms);
}

TEST_F(ServiceManager, WatchesNobodyUnlessItSaysSo) {
    EXPECT_EQ(aliveInterval(), std::nullopt);
    setenv("WATCHDOG_USEC", "30000000", 1);
    setenv("WATCHDOG_PID", "1", 1); // Another process.
    EXPECT_EQ(aliveInterval(), std::nullopt);
}

} // namespace
} // namespace feedline
