// SPDX-License-Identifier: MIT
// The vendor's HF+ library on the emulated receiver. Each test is a process of its own.
#include "EmulatorControl.h"
#include "Listener.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>

using namespace feedline::test;

namespace {

constexpr double rate = 768000;

class EmulatedHf : public testing::Test {
protected:
    void SetUp() override {
        // Slow enough for a busy machine to lose no sample.
        setenv("FEEDLINE_EMULATOR_SPEED", "0.25", 1);
        setenv("FEEDLINE_EMULATOR_CONTROL", socket.c_str(), 1);
        setenv("FEEDLINE_EMULATOR_DEVICES", "hf,hf", 1);
        ASSERT_EQ(airspyhf_open(&device), AIRSPYHF_SUCCESS);
    }

    void TearDown() override { EXPECT_EQ(airspyhf_close(device), AIRSPYHF_SUCCESS); }

    void startAt(std::uint32_t frequency) {
        ASSERT_EQ(airspyhf_set_samplerate(device, 0), AIRSPYHF_SUCCESS);
        ASSERT_EQ(airspyhf_set_freq(device, frequency), AIRSPYHF_SUCCESS);
        ASSERT_EQ(airspyhf_start(device, heard, &listener), AIRSPYHF_SUCCESS);
    }

    /// Samples from after the receiver, and the library's filters, have settled.
    Samples settled(std::size_t count) {
        EXPECT_TRUE(listener.hears(64));
        return listener.take(count);
    }

    const TemporaryFolder folder;
    const std::string socket = folder.file("emulator");
    airspyhf_device_t* device = nullptr;
    Listener listener;
};

} // namespace

TEST_F(EmulatedHf, TwoReceiversHaveTwoSerials) {
    std::array<std::uint64_t, 4> serials{};
    EXPECT_EQ(airspyhf_list_devices(serials.data(), serials.size()), 2);
    EXPECT_EQ(serials[0] + 1, serials[1]);
    airspyhf_device_t* second = nullptr;
    ASSERT_EQ(airspyhf_open_sn(&second, serials[1]), AIRSPYHF_SUCCESS);
    airspyhf_read_partid_serialno_t id{};
    EXPECT_EQ(airspyhf_board_partid_serialno_read(second, &id), AIRSPYHF_SUCCESS);
    EXPECT_EQ(std::uint64_t{id.serial_no[0]} << 32 | id.serial_no[1], serials[1]);
    EXPECT_EQ(airspyhf_close(second), AIRSPYHF_SUCCESS);
}

TEST_F(EmulatedHf, RatesVersionAndArchitecture) {
    std::array<std::uint32_t, 3> rates{};
    EXPECT_EQ(airspyhf_get_samplerates(device, rates.data(), 0), AIRSPYHF_SUCCESS);
    EXPECT_EQ(rates[0], 3U);
    EXPECT_EQ(airspyhf_get_samplerates(device, rates.data(), 3), AIRSPYHF_SUCCESS);
    EXPECT_EQ(rates, (std::array<std::uint32_t, 3>{768000, 384000, 192000}));
    std::array<char, 64> version{};
    EXPECT_EQ(airspyhf_version_string_read(device, version.data(), 63), AIRSPYHF_SUCCESS);
    EXPECT_STREQ(version.data(), "R1.0.0-EMULATED");
    EXPECT_EQ(airspyhf_set_samplerate(device, 768000), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_is_low_if(device), 0);
}

TEST_F(EmulatedHf, CalibrationIsKept) {
    EXPECT_EQ(airspyhf_set_calibration(device, -1234), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_flash_calibration(device), AIRSPYHF_SUCCESS);
    airspyhf_close(device);
    ASSERT_EQ(airspyhf_open(&device), AIRSPYHF_SUCCESS);
    std::int32_t calibration = 0;
    EXPECT_EQ(airspyhf_get_calibration(device, &calibration), AIRSPYHF_SUCCESS);
    EXPECT_EQ(calibration, -1234);
}

TEST_F(EmulatedHf, TheCleanCarrierIsSixtyDecibelAboveTheFloorOnTheRightSide) {
    startAt(7100000);
    const Samples samples = settled(65536);
    ASSERT_EQ(samples.size(), 65536U);
    const double carrier = levelAt(samples, 50e3, rate);
    EXPECT_NEAR(carrier, -20, 1);
    // Places where the scene has nothing; the other side of the carrier is one of them.
    for (double place : {-50e3, 20e3, -200e3, 300e3, 10e3, -90e3})
        EXPECT_LT(levelAt(samples, place, rate), carrier - 60) << place;
}

TEST_F(EmulatedHf, TuningMovesTheCarrierWhileItStreams) {
    startAt(7100000);
    ASSERT_EQ(settled(16384).size(), 16384U);
    EXPECT_EQ(airspyhf_set_freq(device, 7250000), AIRSPYHF_SUCCESS);
    const Samples samples = settled(16384);
    EXPECT_NEAR(levelAt(samples, -100e3, rate), -20, 1);
    EXPECT_LT(levelAt(samples, 50e3, rate), -80);
}

TEST_F(EmulatedHf, OddFrequenciesAreMadeUpByTheLibrary) {
    startAt(7123456);
    EXPECT_NEAR(levelAt(settled(65536), 7150000 - 7123456, rate), -20, 1);
}

TEST_F(EmulatedHf, EverySettingArrives) {
    EmulatorControl emulator(socket);
    EXPECT_EQ(airspyhf_set_hf_agc(device, 0), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_set_hf_agc_threshold(device, 1), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_set_hf_att(device, 3), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_set_hf_lna(device, 1), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_set_user_output(device, AIRSPYHF_USER_OUTPUT_3, AIRSPYHF_USER_OUTPUT_HIGH),
              AIRSPYHF_SUCCESS);
    const std::pair<const char*, const char*> expected[] = {
        {"agc", "0"},        {"agc-threshold", "1"}, {"attenuator", "3"},   {"lna", "1"},
        {"outputs", "0001"}, {"claimed", "1"},       {"receiver-mode", "0"}};
    for (const auto& [name, value] : expected)
        EXPECT_EQ(emulator.value("hf", name), value) << name;
    EXPECT_EQ(emulator.calls("hf", 12), 1);
    EXPECT_EQ(emulator.value("hf2", "attenuator"), "0");
}

TEST_F(EmulatedHf, TheAttenuatorChangesTheLevel) {
    EXPECT_EQ(airspyhf_set_hf_agc(device, 0), AIRSPYHF_SUCCESS);
    EXPECT_EQ(airspyhf_set_hf_att(device, 2), AIRSPYHF_SUCCESS);
    startAt(7100000);
    EXPECT_NEAR(levelAt(settled(16384), 50e3, rate), -32, 1);
}

TEST_F(EmulatedHf, StartsAndStopsManyTimes) {
    for (int i = 0; i < 20; ++i) {
        startAt(7100000 + static_cast<std::uint32_t>(i) * 1000);
        EXPECT_TRUE(listener.hears(2));
        EXPECT_EQ(airspyhf_stop(device), AIRSPYHF_SUCCESS);
    }
    EmulatorControl emulator(socket);
    EXPECT_EQ(emulator.value("hf", "receiver-mode"), "0");
}

TEST_F(EmulatedHf, AsFastAsItIsTaken) {
    EmulatorControl emulator(socket);
    emulator.tell("speed max");
    startAt(7100000);
    EXPECT_TRUE(listener.hears(1000));
    EXPECT_EQ(emulator.number("hf", "dropped"), 0);
}

TEST_F(EmulatedHf, TheInterfaceBelongsToOneHandle) {
    airspyhf_device_t* second = nullptr;
    std::array<std::uint64_t, 2> serials{};
    ASSERT_EQ(airspyhf_list_devices(serials.data(), serials.size()), 2);
    EXPECT_EQ(airspyhf_open_sn(&second, serials[0]), AIRSPYHF_ERROR);
}
