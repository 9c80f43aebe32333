// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/Access.h"

#include <gtest/gtest.h>

#include <array>
#include <unistd.h>

using namespace feedline::hub;
using namespace feedline::hub::web;

namespace {

Asking from(const std::string& peer, const std::string& forwardedFor = {}) {
    Asking asking;
    asking.peer = boost::asio::ip::make_address(peer);
    asking.forwardedFor = forwardedFor;
    asking.forwarded = !forwardedFor.empty();
    return asking;
}

class AccessTest : public testing::Test {
protected:
    Access access() const { return Access(configuration); }
    std::string addressOf(const Asking& asking) const { return access().addressOf(asking); }

    Configuration configuration;
};

TEST_F(AccessTest, AnAddressCanBeNoOtherSitesName) {
    for (const char* const host : {"127.0.0.1:50080", "192.0.2.7", "[::1]:50080", "[2001:db8::1]",
                                   "localhost:50080", "LocalHost"})
        EXPECT_TRUE(access().isHostOurs(host)) << host;
}

TEST_F(AccessTest, NamesMustBeOnTheList) {
    for (const char* const host : {"", ":50080", "evil.example", "localhost.evil.example",
                                   "127.0.0.1.evil.example", "[::1", "127.1"})
        EXPECT_FALSE(access().isHostOurs(host)) << host;
    configuration.webHosts = {"Radio.example"};
    EXPECT_TRUE(access().isHostOurs("radio.example"));
    EXPECT_TRUE(access().isHostOurs("RADIO.example:443"));
    EXPECT_FALSE(access().isHostOurs("other.example"));
}

TEST_F(AccessTest, TheMachinesOwnNameIsItsOwn) {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    EXPECT_TRUE(access().isHostOurs(name.data()));
    EXPECT_TRUE(access().isHostOurs(std::string(name.data()) + ".local:50080"));
}

TEST_F(AccessTest, OnlyTheOwnPageConnects) {
    EXPECT_TRUE(access().isOriginOurs("", "192.0.2.7:50080"));
    EXPECT_TRUE(access().isOriginOurs("http://192.0.2.7:50080", "192.0.2.7:50080"));
    EXPECT_TRUE(access().isOriginOurs("https://radio.example", "radio.example"));
    for (const char* const origin :
         {"null", "http://evil.example", "http://192.0.2.7", "http://192.0.2.7:50080.evil.example",
          "http://evil.example/192.0.2.7:50080", "http://", "192.0.2.7:50080"})
        EXPECT_FALSE(access().isOriginOurs(origin, "192.0.2.7:50080")) << origin;
}

TEST_F(AccessTest, WithoutATokenThisMachineSteers) {
    EXPECT_TRUE(access().maySteer(from("127.0.0.1"), ""));
    EXPECT_TRUE(access().maySteer(from("127.8.9.1"), "anything"));
    EXPECT_FALSE(access().maySteer(from("192.0.2.7"), ""));
    EXPECT_EQ(access().whyNot(), "Only the hub's own machine may move the receiver.");
}

TEST_F(AccessTest, WithATokenOnlyItsOwnersSteer) {
    configuration.webToken = "secret";
    EXPECT_FALSE(access().maySteer(from("127.0.0.1"), ""));
    EXPECT_FALSE(access().maySteer(from("127.0.0.1"), "wrong"));
    EXPECT_TRUE(access().maySteer(from("192.0.2.7"), "secret"));
    EXPECT_TRUE(access().maySteer(from("127.0.0.1", "192.0.2.7"), "secret"));
}

TEST_F(AccessTest, WhatAProxyForwardsIsNeverThisMachine) {
    EXPECT_FALSE(access().maySteer(from("127.0.0.1", "127.0.0.1"), ""));
    Asking named = from("127.0.0.1");
    named.forwarded = true;
    EXPECT_FALSE(access().isOwnMachine(named));
    configuration.webProxies = {"127.0.0.1"};
    EXPECT_FALSE(access().isOwnMachine(from("127.0.0.1")));
    EXPECT_FALSE(access().maySteer(from("127.0.0.1", "127.0.0.1"), ""));
}

TEST_F(AccessTest, StatusIsForThisMachineAndForTheToken) {
    configuration.webToken = "secret";
    EXPECT_TRUE(access().mayReadStatus(from("127.0.0.1"), ""));
    EXPECT_FALSE(access().mayReadStatus(from("127.0.0.1", "192.0.2.7"), ""));
    EXPECT_FALSE(access().mayReadStatus(from("192.0.2.7"), ""));
    EXPECT_TRUE(access().mayReadStatus(from("192.0.2.7"), "secret"));
}

TEST_F(AccessTest, ANamedProxyNamesWhomItForwardsFor) {
    EXPECT_EQ(addressOf(from("192.0.2.1", "198.51.100.9")), "192.0.2.1");
    configuration.webProxies = {"192.0.2.1", "192.0.2.2"};
    EXPECT_EQ(addressOf(from("192.0.2.1", "198.51.100.9")), "198.51.100.9");
    EXPECT_EQ(addressOf(from("192.0.2.3", "198.51.100.9")), "192.0.2.3");
}

// Whatever a client writes there itself stands before what the first proxy of ours has seen.
TEST_F(AccessTest, AForwardedAddressCannotBeMadeUp) {
    configuration.webProxies = {"192.0.2.1", "192.0.2.2"};
    EXPECT_EQ(addressOf(from("192.0.2.1", "203.0.113.1, 198.51.100.9 ,192.0.2.2")), "198.51.100.9");
    EXPECT_EQ(addressOf(from("192.0.2.1", "nonsense")), "192.0.2.1");
    EXPECT_EQ(addressOf(from("192.0.2.1", "203.0.113.1,")), "192.0.2.1");
    EXPECT_EQ(addressOf(from("192.0.2.1", "192.0.2.2")), "192.0.2.2");
}

TEST_F(AccessTest, AHouseholdsIPv6AddressesCountAsOne) {
    configuration.webProxies = {"::1"};
    EXPECT_EQ(addressOf(from("::1", "2001:db8:1:2:3:4:5:6")), "2001:db8:1:2::/64");
    EXPECT_EQ(addressOf(from("::ffff:192.0.2.7")), "192.0.2.7");
}

} // namespace
