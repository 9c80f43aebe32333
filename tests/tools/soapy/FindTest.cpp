// SPDX-License-Identifier: MIT
#include "tools/soapy/Find.h"

#include "Loopback.h"
#include "tools/soapy/ListeningPorts.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

using namespace feedline::soapy;
using namespace feedline::test;

namespace {

OwnedDescriptor listenAt(const char* address, std::uint16_t& port) {
    OwnedDescriptor fd = makeSocket(SOCK_STREAM);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    inet_pton(AF_INET, address, &local.sin_addr);
    socklen_t length = sizeof local;
    checked(bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), length), "bind");
    checked(listen(fd.get(), 1), "listen");
    getsockname(fd.get(), reinterpret_cast<sockaddr*>(&local), &length);
    port = ntohs(local.sin_port);
    return fd;
}

TEST(ListeningPortsTest, SeesListenersAtAnyAddress) {
    std::uint16_t port = 0;
    {
        const OwnedDescriptor everywhere = listenAt("0.0.0.0", port);
        EXPECT_EQ(listeningAddress(port), "127.0.0.1");
    }
    {
        const OwnedDescriptor here = listenAt("127.0.0.7", port);
        EXPECT_EQ(listeningAddress(port), "127.0.0.7");
    }
    EXPECT_EQ(listeningAddress(port), std::nullopt);
}

TEST(ListeningPortsTest, SeesListenersOfTheOtherFamily) {
    const OwnedDescriptor fd(socket(AF_INET6, SOCK_STREAM, 0));
    sockaddr_in6 local{};
    local.sin6_family = AF_INET6;
    socklen_t length = sizeof local;
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), length) != 0)
        GTEST_SKIP() << "no IPv6 here";
    checked(listen(fd.get(), 1), "listen");
    getsockname(fd.get(), reinterpret_cast<sockaddr*>(&local), &length);
    EXPECT_EQ(listeningAddress(ntohs(local.sin6_port)), "127.0.0.1");
}

TEST(ListeningPortsTest, ABoundPortIsNoListener) {
    const ReservedPort reserved;
    EXPECT_EQ(listeningAddress(reserved.number()), std::nullopt);
}

TEST(ListeningPortsTest, LookingIsNotConnecting) {
    std::uint16_t port = 0;
    const OwnedDescriptor listener = listenAt("127.0.0.1", port);
    EXPECT_TRUE(listeningAddress(port));
    EXPECT_FALSE(readable(listener.get(), 50));
}

TEST(FindTest, NamesTheServerThatTheArgumentsName) {
    const auto found = findServers({{"driver", "feedline"}, {"host", "antenna"}, {"ppm", "1"}});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0], (SoapySDR::Kwargs{{"host", "antenna"},
                                          {"port", "50000"},
                                          {"ppm", "1"},
                                          {"label", "Feedline antenna:50000"}}));
    // What was found finds itself again.
    EXPECT_EQ(findServers(found[0]), found);
}

TEST(FindTest, LabelsDifferWhereDevicesDo) {
    const auto one = findServers({{"port", "50001"}, {"bind", "127.0.0.2"}});
    const auto other = findServers({{"port", "50001"}, {"bind", "127.0.0.3"}});
    ASSERT_EQ(one.size(), 1U);
    ASSERT_EQ(other.size(), 1U);
    EXPECT_NE(one[0].at("label"), other[0].at("label"));
}

TEST(FindTest, LeavesOtherModulesAlone) {
    EXPECT_TRUE(findServers({{"serial", "123"}}).empty());
    EXPECT_TRUE(findServers({{"driver", "another"}, {"host", "antenna"}}).empty());
}

// Servers of this machine's own may be there while this runs; each must be at a usual port.
TEST(FindTest, WithoutArgumentsOnlyThisMachinesServersAreListed) {
    for (const auto& found : findServers({}))
        EXPECT_TRUE(found.at("port") == "50000" || found.at("port") == "50001");
}

} // namespace
