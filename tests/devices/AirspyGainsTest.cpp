// SPDX-License-Identifier: MIT
#include "DeviceTest.h"

#include <array>

namespace feedline::test {
namespace {

class AirspyGains : public DeviceTest {
protected:
    AirspyGains() {
        airspyDevice = airspyHandle();
        std::int32_t value = 1;
        for (MemoryValue* control : controls)
            control->value = value++;
    }

    std::array<MemoryValue*, 7> controls{&server.lnaAgc,     &server.mixerAgc, &server.lnaGain,
                                         &server.mixerGain,  &server.vgaGain,  &server.linearity,
                                         &server.sensitivity};
};

TEST_F(AirspyGains, EachControlSendsItsOwnSettingAndNoOther) {
    const std::array<std::string, 7> calls{
        "airspy_set_lna_agc 1",         "airspy_set_mixer_agc 2", "airspy_set_lna_gain 3",
        "airspy_set_mixer_gain 4",      "airspy_set_vga_gain 5",  "airspy_set_linearity_gain 6",
        "airspy_set_sensitivity_gain 7"};
    for (std::size_t i = 0; i < controls.size(); ++i) {
        clearRecordedLines();
        delegate.changedGain(controls.at(i));
        EXPECT_EQ(recordedLines(),
                  (Lines{noted(calls.at(i)), logged("changedGain 1 2 3 4 5 6 7")}));
    }
}

TEST_F(AirspyGains, ValuesReachTheLibraryAsTheirLow8BitsAndTheLogWhole) {
    server.lnaGain.value = 256;
    delegate.changedGain(&server.lnaGain);
    server.vgaGain.value = -1;
    delegate.changedGain(&server.vgaGain);
    server.mixerGain.value = 0x12345678;
    delegate.changedGain(&server.mixerGain);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_lna_gain 0"), logged("changedGain 1 2 256 4 5 6 7"),
                     noted("airspy_set_vga_gain 255"), logged("changedGain 1 2 256 4 -1 6 7"),
                     noted("airspy_set_mixer_gain 120"),
                     logged("changedGain 1 2 256 305419896 -1 6 7")}));
}

TEST_F(AirspyGains, AValueBeyondTheStagesRangeIsLeftToTheLibraryToClamp) {
    server.lnaGain.value = 20;
    delegate.changedGain(&server.lnaGain);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_lna_gain 20"), logged("changedGain 1 2 20 4 5 6 7")}));
}

TEST_F(AirspyGains, AFailureIsIgnored) {
    vendors().results["airspy_set_sensitivity_gain"] = -1000;
    delegate.changedGain(&server.sensitivity);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_sensitivity_gain 7"), logged("changedGain 1 2 3 4 5 6 7")}));
    EXPECT_EQ(server.sensitivity.value, 7);
}

TEST_F(AirspyGains, AnySenderBesideTheSevenSendsNothingButIsLogged) {
    const MemoryValue stranger;
    delegate.changedGain(&stranger);
    delegate.changedGain(nullptr);
    EXPECT_EQ(recordedLines(),
              (Lines{logged("changedGain 1 2 3 4 5 6 7"), logged("changedGain 1 2 3 4 5 6 7")}));
}

TEST_F(AirspyGains, WithoutAnAirspyTheControlsSendAndLogNothing) {
    airspyDevice = nullptr;
    hfDevice = hfHandle();
    for (const MemoryValue* control : controls)
        delegate.changedGain(control);
    EXPECT_EQ(recordedLines(), Lines{});
}

TEST_F(AirspyGains, TheControlsActOnAnOpenAirspyWhateverTypeIsSelected) {
    deviceType = deviceAirspyHf;
    delegate.changedGain(&server.linearity);
    EXPECT_EQ(countOf(noted("airspy_set_linearity_gain 6")), 1);
}

/// A control that counts how often it is asked.
class CountingValue : public ValueControl {
public:
    std::int32_t intValue() const override { return ++asked; }
    mutable std::int32_t asked = 0;
};

TEST_F(AirspyGains, TheLineShowsTheValueThatWasSent) {
    CountingValue control;
    delegate.vgaGainSlider = &control;
    delegate.changedGain(&control);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_vga_gain 1"), logged("changedGain 1 2 3 4 1 6 7")}));
    airspyDevice = nullptr;
    delegate.changedGain(&control);
    EXPECT_EQ(control.asked, 2); // Read before it is known that there is nobody to tell.
}

TEST_F(AirspyGains, AWholeSetGoesStagesFirstThenAgcsThenPresets) {
    delegate.setGainsLnaAgc(1, 0, 14, 15, 256, 21, -1);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_lna_gain 14"), noted("airspy_set_mixer_gain 15"),
                     noted("airspy_set_vga_gain 0"), noted("airspy_set_lna_agc 1"),
                     noted("airspy_set_mixer_agc 0"), noted("airspy_set_linearity_gain 21"),
                     noted("airspy_set_sensitivity_gain 255")}));
}

TEST_F(AirspyGains, EveryFailedCallOfAWholeSetIsLoggedAndTheRestGoesOn) {
    for (const char* call : {"airspy_set_lna_gain", "airspy_set_mixer_gain", "airspy_set_vga_gain",
                             "airspy_set_lna_agc", "airspy_set_mixer_agc",
                             "airspy_set_linearity_gain", "airspy_set_sensitivity_gain"})
        vendors().results[call] = -1000;
    delegate.setGainsLnaAgc(1, 2, 3, 4, 5, 6, 7);
    EXPECT_EQ(
        recordedLines(),
        (Lines{noted("airspy_set_lna_gain 3"), logged("airspy_set_lna_gain error"),
               noted("airspy_set_mixer_gain 4"), logged("airspy_set_mixer_gain error"),
               noted("airspy_set_vga_gain 5"), logged("airspy_set_vga_gain error"),
               noted("airspy_set_lna_agc 1"), logged("airspy_set_lna_agc error"),
               noted("airspy_set_mixer_agc 2"), logged("airspy_set_mixer_agc error"),
               noted("airspy_set_linearity_gain 6"), logged("airspy_set_linearity_gain error"),
               noted("airspy_set_sensitivity_gain 7"),
               logged("airspy_set_sensitivity_gain error")}));
}

TEST_F(AirspyGains, APositiveResultIsAFailureToo) {
    vendors().results["airspy_set_vga_gain"] = 1;
    delegate.setGainsLnaAgc(0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(countOf(logged("airspy_set_vga_gain error")), 1);
    EXPECT_EQ(recordedLines().size(), 8U);
}

TEST_F(AirspyGains, WithoutAnAirspyAWholeSetDoesNothing) {
    airspyDevice = nullptr;
    delegate.setGainsLnaAgc(1, 2, 3, 4, 5, 6, 7);
    EXPECT_EQ(recordedLines(), Lines{});
}

TEST_F(AirspyGains, ANewlyOpenedReceiverIsNotSentTheControlsPositions) {
    deviceType = deviceAirspy;
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    for (const Line& line : recordedLines())
        EXPECT_TRUE(line.text.find("gain") == std::string::npos &&
                    line.text.find("agc") == std::string::npos)
            << line.text;
}

} // namespace
} // namespace feedline::test
