// SPDX-License-Identifier: MIT
// The vendor's AirSpy library on the emulated receiver. Each test is a process of its own.
#include "EmulatorControl.h"
#include "Listener.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

using namespace feedline::test;

namespace {

constexpr double rate = 2500000;
/// The library's IQ stream holds one of the two halves of a real carrier.
constexpr double half = -6.3;

class EmulatedAirspy : public testing::Test {
protected:
    void SetUp() override {
        // Slow enough for a busy machine to lose no sample.
        setenv("FEEDLINE_EMULATOR_SPEED", "0.25", 1);
        setenv("FEEDLINE_EMULATOR_CONTROL", socket.c_str(), 1);
        setenv("FEEDLINE_EMULATOR_DEVICES", "airspy", 1);
        ASSERT_EQ(airspy_open(&device), AIRSPY_SUCCESS);
        ASSERT_EQ(airspy_set_sample_type(device, AIRSPY_SAMPLE_FLOAT32_IQ), AIRSPY_SUCCESS);
    }

    void TearDown() override { EXPECT_EQ(airspy_close(device), AIRSPY_SUCCESS); }

    void startAt(std::uint32_t frequency) {
        ASSERT_EQ(airspy_set_samplerate(device, 1), AIRSPY_SUCCESS);
        ASSERT_EQ(airspy_set_freq(device, frequency), AIRSPY_SUCCESS);
        ASSERT_EQ(airspy_start_rx(device, heard, &listener), AIRSPY_SUCCESS);
    }

    Samples settled(std::size_t count) {
        EXPECT_TRUE(listener.hears(24));
        return listener.take(count);
    }

    const TemporaryFolder folder;
    const std::string socket = folder.file("emulator");
    airspy_device* device = nullptr;
    Listener listener;
};

} // namespace

TEST_F(EmulatedAirspy, IdentifiesItself) {
    std::array<std::uint32_t, 2> rates{};
    EXPECT_EQ(airspy_get_samplerates(device, rates.data(), 0), AIRSPY_SUCCESS);
    EXPECT_EQ(rates[0], 2U);
    EXPECT_EQ(airspy_get_samplerates(device, rates.data(), 2), AIRSPY_SUCCESS);
    EXPECT_EQ(rates, (std::array<std::uint32_t, 2>{10000000, 2500000}));
    std::array<char, 128> version{};
    EXPECT_EQ(airspy_version_string_read(device, version.data(), 127), AIRSPY_SUCCESS);
    EXPECT_STREQ(version.data(), "AirSpy EMULATED v1.0.0");
    std::uint64_t serial = 0;
    EXPECT_EQ(airspy_list_devices(&serial, 1), 1);
    airspy_read_partid_serialno_t id{};
    EXPECT_EQ(airspy_board_partid_serialno_read(device, &id), AIRSPY_SUCCESS);
    EXPECT_EQ(std::uint64_t{id.serial_no[2]} << 32 | id.serial_no[3], serial);
}

TEST_F(EmulatedAirspy, ACarrierIsOnTheRightSide) {
    startAt(125200000);
    const Samples samples = settled(65536);
    EXPECT_NEAR(levelAt(samples, 100e3, rate), -35 + half, 1);
    EXPECT_LT(levelAt(samples, -100e3, rate), -85);
}

TEST_F(EmulatedAirspy, PackedSamplesAreHeardTheSame) {
    ASSERT_EQ(airspy_set_packing(device, 1), AIRSPY_SUCCESS);
    startAt(125400000);
    const Samples samples = settled(65536);
    EXPECT_NEAR(levelAt(samples, -100e3, rate), -35 + half, 1);
    EXPECT_LT(levelAt(samples, 100e3, rate), -85);
}

TEST_F(EmulatedAirspy, TheStereoStationIsInTheMiddle) {
    startAt(100000000);
    const Samples samples = settled(65536);
    Samples sound;
    for (std::size_t i = 1; i < samples.size(); ++i)
        sound.emplace_back(
            std::arg(samples[i] * std::conj(samples[i - 1])) * rate / (2 * std::numbers::pi), 0);
    // The pilot stands out of its surroundings by far.
    const double pilot = levelAt(sound, 19e3, rate);
    EXPECT_GT(pilot, levelAt(sound, 18.5e3, rate) + 10);
    EXPECT_GT(pilot, levelAt(sound, 19.5e3, rate) + 10);
}

TEST_F(EmulatedAirspy, EverySettingArrives) {
    EmulatorControl emulator(socket);
    EXPECT_EQ(airspy_set_lna_gain(device, 11), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_mixer_gain(device, 12), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_vga_gain(device, 13), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_lna_agc(device, 1), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_mixer_agc(device, 1), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_rf_bias(device, 1), AIRSPY_SUCCESS);
    const std::pair<const char*, const char*> expected[] = {
        {"lna-gain", "11"}, {"mixer-gain", "12"}, {"vga-gain", "13"},
        {"lna-agc", "1"},   {"mixer-agc", "1"},   {"bias", "1"}};
    for (const auto& [name, value] : expected)
        EXPECT_EQ(emulator.value("airspy", name), value) << name;
}

TEST_F(EmulatedAirspy, APresetSwitchesTheAgcsOff) {
    EmulatorControl emulator(socket);
    EXPECT_EQ(airspy_set_lna_agc(device, 1), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_mixer_agc(device, 1), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_set_linearity_gain(device, 21), AIRSPY_SUCCESS);
    EXPECT_EQ(emulator.value("airspy", "lna-agc"), "0");
    EXPECT_EQ(emulator.value("airspy", "mixer-agc"), "0");
    EXPECT_EQ(emulator.calls("airspy", 16), 1);
}

TEST_F(EmulatedAirspy, GainChangesTheLevelWhileItStreams) {
    startAt(125200000);
    const double before = levelAt(settled(16384), 100e3, rate);
    EXPECT_EQ(airspy_set_vga_gain(device, 10), AIRSPY_SUCCESS);
    EXPECT_NEAR(levelAt(settled(16384), 100e3, rate), before + 6, 0.5);
}

TEST_F(EmulatedAirspy, RegistersReadBackThroughTheLibrary) {
    std::uint8_t value = 0;
    EXPECT_EQ(airspy_r820t_write(device, 5, 0x93), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_r820t_read(device, 5, &value), AIRSPY_SUCCESS);
    EXPECT_EQ(value, 0x93);
    EXPECT_EQ(airspy_si5351c_write(device, 200, 0x21), AIRSPY_SUCCESS);
    EXPECT_EQ(airspy_si5351c_read(device, 200, &value), AIRSPY_SUCCESS);
    EXPECT_EQ(value, 0x21);
}
