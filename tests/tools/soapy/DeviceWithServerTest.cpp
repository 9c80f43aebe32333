// SPDX-License-Identifier: MIT
// The device on the real server over emulated receivers: what rate it finds, where it hears a
// carrier, and that it goes on when the server has gone and come back.
#include "EmulatedServer.h"
#include "LoadedModule.h"
#include "Spectrum.h"
#include "Waiting.h"

#include <gtest/gtest.h>

#include <SoapySDR/Constants.h>
#include <SoapySDR/Errors.h>
#include <SoapySDR/Formats.hpp>
#include <cmath>
#include <csignal>
#include <cstdlib>

namespace feedline::test {
namespace {

constexpr long longLimit = 60'000'000; // us

class DeviceWithServer : public testing::Test {
protected:
    DeviceWithServer() {
        loadModule(MODULE);
        SoapyLog::clear();
    }
    void TearDown() override {
        if (opened != nullptr)
            device->closeStream(opened);
    }

    void make(std::uint16_t port, SoapySDR::Kwargs more = {}) {
        more["port"] = std::to_string(port);
        device = makeDevice(more);
    }
    void stream(double frequency) {
        opened = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CF32);
        ASSERT_NE(opened, nullptr);
        device->setFrequency(SOAPY_SDR_RX, 0, frequency);
        ASSERT_EQ(device->activateStream(opened), 0);
    }

    // So many pairs without a loss between them. What the network loses on a busy machine is not
    // for this test to judge, so it begins again then.
    Samples receive(std::size_t pairs) {
        Samples samples(pairs);
        std::size_t have = 0;
        const auto end = std::chrono::steady_clock::now() + longestWait;
        while (have < pairs && std::chrono::steady_clock::now() < end) {
            void* const buffers[] = {&samples[have]};
            int flags = 0;
            long long time = 0;
            const int result =
                device->readStream(opened, buffers, pairs - have, flags, time, longLimit);
            have = result > 0 ? have + static_cast<std::size_t>(result) : 0;
        }
        EXPECT_EQ(have, pairs);
        return samples;
    }
    // Of what comes once the receiver has been tuned. A line's place depends on the rate that its
    // samples were made for; the rate that the device finds depends on the machine's pace, too.
    double carrier(double rate) {
        receive(1U << 17U);
        return strongestLine(receive(1U << 16U), rate).hertz;
    }
    template <typename Condition>
    void waitForRate(Condition condition) {
        std::vector<std::complex<float>> block(8192);
        EXPECT_TRUE(waitUntil([&] {
            void* const buffers[] = {block.data()};
            int flags = 0;
            long long time = 0;
            device->readStream(opened, buffers, block.size(), flags, time, 100'000);
            return condition(device->getSampleRate(SOAPY_SDR_RX, 0));
        }));
    }
    // Right as far as a busy machine, which holds up the emulated receiver, lets it be.
    void expectRateNear(double rate) const {
        EXPECT_NEAR(device->getSampleRate(SOAPY_SDR_RX, 0), rate, rate / 3);
    }

    DevicePointer device;
    SoapySDR::Stream* opened = nullptr;
};

TEST_F(DeviceWithServer, HearsWhatAnHfHears) {
    const EmulatedServer server(receiverHf);
    make(server.port());
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), hfRate);
    stream(hfCentre);
    expectRateNear(hfRate);
    EXPECT_NEAR(carrier(hfRate), 50000, hfRate / 65536);
}

TEST_F(DeviceWithServer, HearsWhatAnAirspyHears) {
    const EmulatedServer server(receiverAirspy, {.devices = "airspy"});
    make(server.port());
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), airspyRate);
    stream(airspyCentre);
    expectRateNear(airspyRate);
    EXPECT_NEAR(carrier(airspyRate), 50000, airspyRate / 65536 * 2);
}

TEST_F(DeviceWithServer, HasOneFixedGainWithoutABus) {
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    const EmulatedServer server(receiverAirspy, {.devices = "airspy"});
    make(server.port());
    EXPECT_EQ(device->listGains(SOAPY_SDR_RX, 0), std::vector<std::string>{"GAIN"});
    EXPECT_FALSE(device->hasGainMode(SOAPY_SDR_RX, 0));
    device->setGain(SOAPY_SDR_RX, 0, 20);
    EXPECT_EQ(device->getGain(SOAPY_SDR_RX, 0), 0);
}

TEST_F(DeviceWithServer, FindsAnotherRateOut) {
    constexpr double rate = 192000;
    const EmulatedServer server(receiverHf, {.more = {{"FEEDLINE_EMULATOR_RATES_HF", "192000"}}});
    make(server.port());
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), 768000);
    stream(hfCentre);
    // On a machine that stands still at times it may take longer than the activation waits.
    waitForRate([](double found) { return found != 768000; });
    expectRateNear(rate);
    const auto found = std::llround(device->getSampleRate(SOAPY_SDR_RX, 0));
    EXPECT_TRUE(
        SoapyLog::has("the receiver's sample rate is " + std::to_string(found) + ", not 768000"));
    EXPECT_NEAR(carrier(rate), 50000, rate / 65536);
}

// Here a receiver that takes its time stands for a machine that does.
TEST_F(DeviceWithServer, PutsARateRightThatItTookForAnother) {
    EmulatedServer server(receiverHf, {.more = {{"FEEDLINE_EMULATOR_SPEED", "0.5"}}});
    make(server.port());
    stream(hfCentre);
    waitForRate([](double found) { return found < 500000; });
    server.receiver.tell("speed 1");
    waitForRate([](double found) { return found > 600000; });
}

// The server needs five seconds to listen again after a client has gone.
TEST_F(DeviceWithServer, WaitsForAServerThatHasJustLostAClient) {
    const EmulatedServer server(receiverHf);
    make(server.port(), {{"wait", "60"}});
    EXPECT_EQ(device->getHardwareKey(), "AirSpyHF+");
    device.reset();
    make(server.port(), {{"wait", "60"}});
    stream(hfCentre);
    EXPECT_NEAR(carrier(hfRate), 50000, hfRate / 65536);
}

TEST_F(DeviceWithServer, GoesOnWhenTheServerHasBeenRestarted) {
    EmulatedServer server(receiverHf);
    make(server.port(), {{"rate", "768000"}});
    stream(hfCentre);
    EXPECT_NEAR(carrier(hfRate), 50000, hfRate / 65536);
    server.process.end(SIGTERM, "while a device streams");
    std::vector<std::complex<float>> block(8192);
    void* const buffers[] = {block.data()};
    int flags = 0;
    long long time = 0;
    // What had arrived is still read, then nothing more comes.
    EXPECT_TRUE(waitUntil([&] {
        return device->readStream(opened, buffers, block.size(), flags, time, 100'000) ==
               SOAPY_SDR_TIMEOUT;
    }));
    const long long gone = time;
    // The emulator's own scene has the same carrier.
    const ServerProcess restarted({.settings = server.settings});
    EXPECT_TRUE(waitUntil([&] {
        return device->readStream(opened, buffers, block.size(), flags, time, 100'000) ==
               SOAPY_SDR_OVERFLOW;
    }));
    EXPECT_GT(time, gone);
    EXPECT_EQ(device->readSensor("reconnects"), "1");
    EXPECT_NEAR(carrier(hfRate), 50000, hfRate / 65536);
}

} // namespace
} // namespace feedline::test
