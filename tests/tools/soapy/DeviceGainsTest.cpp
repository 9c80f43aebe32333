// SPDX-License-Identifier: MIT
// The device on the real server over an emulated AirSpy, with a session bus.
#include "BusCaller.h"
#include "EmulatedServer.h"
#include "LoadedModule.h"
#include "PrivateBus.h"

#include <gtest/gtest.h>

#include <SoapySDR/Constants.h>
#include <cstdlib>

namespace feedline::test {
namespace {

TEST(DeviceGains, AreSetOverTheBus) {
    const PrivateBus bus;
    setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    EmulatedServer server(receiverAirspy, {.devices = "airspy",
                                           .more = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    ASSERT_TRUE(BusCaller(bus.address()).awaitServer());
    loadModule(MODULE);
    const DevicePointer device = makeDevice({{"port", std::to_string(server.port())}});
    EXPECT_EQ(device->listGains(SOAPY_SDR_RX, 0), (std::vector<std::string>{"LNA", "MIX", "VGA"}));
    EXPECT_EQ(device->getGainRange(SOAPY_SDR_RX, 0, "LNA").maximum(), 14);
    EXPECT_EQ(device->getGainRange(SOAPY_SDR_RX, 0).maximum(), 44);
    device->setGain(SOAPY_SDR_RX, 0, "MIX", 6);
    EXPECT_EQ(device->getGain(SOAPY_SDR_RX, 0, "MIX"), 6);
    EXPECT_EQ(server.receiver.value("airspy", "mixer-gain"), "6");
    device->setGain(SOAPY_SDR_RX, 0, 20);
    EXPECT_EQ(device->getGain(SOAPY_SDR_RX, 0), 20);
    EXPECT_EQ(server.receiver.value("airspy", "lna-gain"), "14");
    EXPECT_FALSE(device->getGainMode(SOAPY_SDR_RX, 0));
    device->setGainMode(SOAPY_SDR_RX, 0, true);
    EXPECT_TRUE(device->getGainMode(SOAPY_SDR_RX, 0));
    EXPECT_EQ(server.receiver.value("airspy", "lna-agc"), "1");
    EXPECT_EQ(server.receiver.value("airspy", "mixer-agc"), "1");
}

} // namespace
} // namespace feedline::test
