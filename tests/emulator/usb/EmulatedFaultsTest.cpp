// SPDX-License-Identifier: MIT
// Faults of the emulated USB, as the vendors' libraries meet them. Each test is a process of its
// own.
#include "EmulatorControl.h"
#include "Listener.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <future>

using namespace feedline::test;

namespace {

class EmulatedFaults : public testing::Test {
protected:
    EmulatedFaults() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        setenv("FEEDLINE_EMULATOR_CONTROL", socket.c_str(), 1);
        setenv("FEEDLINE_EMULATOR_DEVICES", "hf,airspy", 1);
        std::uint64_t serial = 0;
        airspyhf_list_devices(&serial, 1); // the emulator begins to listen with the first call
        emulator = std::make_unique<EmulatorControl>(socket);
    }

    airspyhf_device_t* openHf() {
        airspyhf_device_t* device = nullptr;
        EXPECT_EQ(airspyhf_open(&device), AIRSPYHF_SUCCESS);
        EXPECT_EQ(airspyhf_set_samplerate(device, 0), AIRSPYHF_SUCCESS);
        EXPECT_EQ(airspyhf_set_freq(device, 7100000), AIRSPYHF_SUCCESS);
        return device;
    }

    /// The HF+ library leaves a thread of its own behind after such a fault, and never returns from
    /// closing the handle: nothing is left but to end the process, which is therefore one of its
    /// own.
    [[noreturn]] void endWithTheLibrarysThread() const {
        std::filesystem::remove_all(folder.path());
        std::_Exit(HasFailure() ? 1 : 0);
    }

    const TemporaryFolder folder;
    const std::string socket = folder.file("emulator");
    std::unique_ptr<EmulatorControl> emulator;
    Listener listener;
};

} // namespace

TEST_F(EmulatedFaults, AClaimedReceiverCannotBeOpened) {
    airspyhf_device_t* device = nullptr;
    for (const char* how : {"claim hf busy", "claim hf access"}) {
        emulator->tell(how);
        EXPECT_EQ(airspyhf_open(&device), AIRSPYHF_ERROR) << how;
    }
    emulator->tell("release hf");
    EXPECT_EQ(airspyhf_open(&device), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, AnUnpluggedReceiverIsNotListedAndComesBack) {
    std::uint64_t serial = 0;
    emulator->tell("unplug hf");
    EXPECT_EQ(airspyhf_list_devices(&serial, 1), 0);
    emulator->tell("plug hf");
    EXPECT_EQ(airspyhf_list_devices(&serial, 1), 1);
}

TEST_F(EmulatedFaults, ARequestFailsAtItsCall) {
    airspyhf_device_t* device = openHf();
    emulator->tell("fail hf request:12 io at 2");
    EXPECT_EQ(airspyhf_set_hf_att(device, 1), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_set_hf_att(device, 2), AIRSPYHF_ERROR);
    EXPECT_EQ(airspyhf_set_hf_att(device, 3), AIRSPYHF_SUCCESS);
    EXPECT_EQ(emulator->value("hf", "attenuator"), "3");
    EXPECT_EQ(emulator->calls("hf", 12), 3);
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, AShortTuningIsRefused) {
    airspyhf_device_t* device = openHf();
    emulator->tell("fail hf request:2 2");
    EXPECT_EQ(airspyhf_set_freq(device, 14000000), AIRSPYHF_ERROR);
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, AHangingRequestWaitsUntilItIsLetGo) {
    airspyhf_device_t* device = openHf();
    emulator->tell("hang hf request:13");
    auto call = std::async(std::launch::async, [&] { return airspyhf_set_hf_lna(device, 1); });
    emulator->until([&] { return emulator->calls("hf", 13) == 1; }, "the call to arrive");
    EXPECT_EQ(emulator->value("hf", "lna"), "0");
    emulator->tell("resume hf");
    EXPECT_EQ(call.get(), AIRSPYHF_SUCCESS);
    EXPECT_EQ(emulator->value("hf", "lna"), "1");
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, ADelayedRequestTakesItsTime) {
    airspyhf_device_t* device = openHf();
    emulator->tell("delay hf request:13 150");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(airspyhf_set_hf_lna(device, 1), AIRSPYHF_SUCCESS);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(150));
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, AFailedSubmissionRefusesTheStart) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the library joins threads it never started, which ThreadSanitizer cannot follow";
#endif
    airspyhf_device_t* device = openHf();
    emulator->tell("fail hf submit io at 5");
    EXPECT_EQ(airspyhf_start(device, heard, &listener), AIRSPYHF_ERROR);
    airspyhf_stop(device);
    EXPECT_EQ(airspyhf_start(device, heard, &listener), AIRSPYHF_SUCCESS);
    EXPECT_TRUE(listener.hears(2));
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, ATransferErrorEndsTheStream) {
    const auto scenario = [this] {
        airspyhf_device_t* device = openHf();
        ASSERT_EQ(airspyhf_start(device, heard, &listener), AIRSPYHF_SUCCESS);
        EXPECT_TRUE(listener.hears(2));
        emulator->tell("fail hf transfer error");
        emulator->until([&] { return airspyhf_is_streaming(device) == 0; }, "the stream to end");
        EXPECT_EQ(airspyhf_stop(device), AIRSPYHF_SUCCESS);
        endWithTheLibrarysThread();
    };
    EXPECT_EXIT(scenario(), testing::ExitedWithCode(0), "");
}

TEST_F(EmulatedFaults, ASilentStreamGoesOnWhereThePresentIs) {
    airspyhf_device_t* device = openHf();
    ASSERT_EQ(airspyhf_start(device, heard, &listener), AIRSPYHF_SUCCESS);
    EXPECT_TRUE(listener.hears(2));
    emulator->tell("silence hf");
    const long long delivered = emulator->number("hf", "delivered");
    EXPECT_EQ(airspyhf_is_streaming(device), 1);
    EXPECT_LE(emulator->number("hf", "delivered"), delivered);
    emulator->tell("resume hf");
    EXPECT_TRUE(listener.hears(20));
    EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedFaults, APulledOutHfEndsItsStream) {
    const auto scenario = [this] {
        airspyhf_device_t* device = openHf();
        ASSERT_EQ(airspyhf_start(device, heard, &listener), AIRSPYHF_SUCCESS);
        EXPECT_TRUE(listener.hears(2));
        emulator->tell("unplug hf");
        emulator->until([&] { return airspyhf_is_streaming(device) == 0; }, "the stream to end");
        EXPECT_EQ(airspyhf_stop(device), AIRSPYHF_ERROR);
        endWithTheLibrarysThread();
    };
    EXPECT_EXIT(scenario(), testing::ExitedWithCode(0), "");
}

TEST_F(EmulatedFaults, APulledOutAirspyComesBackWithDefaults) {
    airspy_device* device = nullptr;
    ASSERT_EQ(airspy_open(&device), AIRSPY_SUCCESS);
    ASSERT_EQ(airspy_set_sample_type(device, AIRSPY_SAMPLE_FLOAT32_IQ), AIRSPY_SUCCESS);
    ASSERT_EQ(airspy_set_samplerate(device, 1), AIRSPY_SUCCESS);
    ASSERT_EQ(airspy_set_vga_gain(device, 3), AIRSPY_SUCCESS);
    ASSERT_EQ(airspy_start_rx(device, heard, &listener), AIRSPY_SUCCESS);
    EXPECT_TRUE(listener.hears(1));
    emulator->tell("unplug airspy");
    emulator->until([&] { return airspy_is_streaming(device) != AIRSPY_TRUE; }, "the end");
    EXPECT_EQ(airspy_set_vga_gain(device, 4), AIRSPY_ERROR_LIBUSB);
    EXPECT_EQ(airspy_stop_rx(device), AIRSPY_ERROR_LIBUSB);
    airspy_close(device);
    emulator->tell("plug airspy");
    EXPECT_EQ(emulator->value("airspy", "vga-gain"), "8");
    EXPECT_EQ(airspy_open(&device), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_close(device), AIRSPY_SUCCESS);
}

TEST_F(EmulatedFaults, BadCommandsAreRefused) {
    EXPECT_THROW(emulator->tell("dance hf"), std::runtime_error);
    EXPECT_EQ(emulator->tell("devices"), "hf airspy");
}
