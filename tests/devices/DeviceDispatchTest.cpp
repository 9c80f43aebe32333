// SPDX-License-Identifier: MIT
#include "DeviceTest.h"

#include <tuple>

namespace feedline::test {
namespace {

using Shown = RecordingAlert::Shown;

class DeviceDispatch : public DeviceTest {
protected:
    /// More than an initialisation ever leaves open, so that a call to the wrong one shows.
    void openBoth() {
        hfDevice = hfHandle();
        airspyDevice = airspyHandle();
    }
};

TEST_F(DeviceDispatch, AnInitialisedHfShowsNoAlertAndLeavesNoAirspy) {
    airspyDevice = airspyHandle();
    EXPECT_EQ(delegate.doDeviceInit(), 0);
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(airspyDevice, nullptr);
}

struct HfFailure {
    std::string call; ///< that fails
    int answer;
    std::int32_t result;
    std::vector<Shown> alerts;
    bool open; ///< whether the handle stays
};
void PrintTo(const HfFailure& failure, std::ostream* out) {
    *out << failure.call;
}

class HfInitFailure : public DeviceDispatch, public ::testing::WithParamInterface<HfFailure> {};

TEST_P(HfInitFailure, ShowsItsAlertsAndReturnsItsCode) {
    vendors().results[GetParam().call] = GetParam().answer;
    EXPECT_EQ(delegate.doDeviceInit(), GetParam().result);
    EXPECT_EQ(server.alert.shown(), GetParam().alerts);
    EXPECT_EQ(hfDevice, GetParam().open ? hfHandle() : nullptr);
    EXPECT_EQ(airspyDevice, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Each, HfInitFailure,
    ::testing::Values(
        HfFailure{
            "airspyhf_list_devices", -1, -1, {{"No AirSpyHF+ found", "Is it plugged in?"}}, false},
        HfFailure{"airspyhf_open_sn",
                  -1,
                  -2,
                  {{"Could not open AirSpyHF+", ""}, {"Could not open AirSpyHF+", ""}},
                  false},
        HfFailure{"airspyhf_get_samplerates#1",
                  -1,
                  -3,
                  {{"No sample rates returned by AirSpyHF+", ""}},
                  true},
        HfFailure{"airspyhf_get_samplerates#2",
                  -1,
                  -4,
                  {{"Could not read AirSpyHF+ sample rates", ""}},
                  true},
        HfFailure{
            "airspyhf_set_samplerate", -1, -5, {{"Could not set AirSpyHF+ sample rate", ""}}, true},
        HfFailure{"airspyhf_set_freq", -1, -102, {{"AirSpyHF+ set frequency fail", ""}}, true}),
    [](const auto& each) {
        return each.param.result == -102 ? std::string("FirstTuning")
                                         : "Code" + std::to_string(-each.param.result);
    });

TEST_F(DeviceDispatch, WithoutAnHfOneAlertAsksWhetherItIsPluggedIn) {
    vendors().hfSerials.clear();
    EXPECT_EQ(delegate.doDeviceInit(), -1);
    EXPECT_EQ(server.alert.shown(),
              (std::vector<Shown>{{"No AirSpyHF+ found", "Is it plugged in?"}}));
}

TEST_F(DeviceDispatch, TheAlertsComeAfterTheInitialisationHasEnded) {
    vendors().results["airspyhf_open_sn"] = -1;
    server.alert.whileUp = [] {
        note("alert");
    };
    delegate.doDeviceInit();
    const Lines lines = recordedLines();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
              (Lines{logged("err -1"), noted("alert"), noted("alert")}));
}

TEST_F(DeviceDispatch, AnInitialisedAirspyLeavesNoHf) {
    deviceType = deviceAirspy;
    hfDevice = hfHandle();
    EXPECT_EQ(delegate.doDeviceInit(), 0);
    EXPECT_EQ(airspyDevice, airspyHandle());
    EXPECT_EQ(hfDevice, nullptr);
    EXPECT_EQ(vendors().count("airspyhf_list_devices"), 0);
}

TEST_F(DeviceDispatch, WithoutAnAirspyNoAlertIsShown) {
    deviceType = deviceAirspy;
    vendors().airspySerials.clear();
    EXPECT_EQ(delegate.doDeviceInit(), -1);
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
}

TEST_F(DeviceDispatch, EveryAirspyFailureComesBackAsItIsAndWithoutAnAlert) {
    deviceType = deviceAirspy;
    const std::vector<std::tuple<std::string, std::int32_t, bool>> failures{
        {"airspy_list_devices", -1, false},
        {"airspy_open", -2, false},
        {"airspy_get_samplerates#1", -3, true},
        {"airspy_get_samplerates#2", -4, true},
        {"airspy_set_rf_bias", -5, true}};
    for (const auto& [call, code, open] : failures) {
        resetVendors();
        vendors().results[call] = -1;
        EXPECT_EQ(delegate.doDeviceInit(), code) << call;
        EXPECT_EQ(airspyDevice != nullptr, open) << call;
    }
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
}

TEST_F(DeviceDispatch, AnUnknownTypeHasNoReceiver) {
    for (const std::int32_t type : {2, -1, 2147483647}) {
        deviceType = type;
        openBoth();
        centerFrequency = 7100000;
        EXPECT_EQ(delegate.setDeviceFrequency(14200000), -102);
        EXPECT_EQ(centerFrequency, 7100000);
        delegate.startDevice();
        EXPECT_EQ(isStreaming, 0);
        isStreaming = 1;
        delegate.stopDevice();
        EXPECT_EQ(isStreaming, 1);
        isStreaming = 0;
        EXPECT_EQ(delegate.doDeviceInit(), 0);
        EXPECT_EQ(hfDevice, nullptr);
        EXPECT_EQ(airspyDevice, nullptr);
    }
    EXPECT_EQ(recordedLines(), Lines{}); // Neither a call nor a line.
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
}

TEST_F(DeviceDispatch, ASecondInitialisationForgetsTheReceiverWithoutClosingIt) {
    for (const std::int32_t type : {deviceAirspyHf, deviceAirspy}) {
        deviceType = type;
        EXPECT_EQ(delegate.doDeviceInit(), 0);
        delegate.startDevice();
        EXPECT_EQ(delegate.doDeviceInit(), 0);
    }
    EXPECT_EQ(vendors().count("airspyhf_close"), 0);
    EXPECT_EQ(vendors().count("airspyhf_stop"), 0);
    EXPECT_EQ(vendors().count("airspy_close"), 0);
    EXPECT_EQ(vendors().count("airspy_stop_rx"), 0);
}

TEST_F(DeviceDispatch, TheHandlesAreForgottenBeforeTheNextOpen) {
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    const void* heldAtListing = this;
    vendors().onCall = [&](const std::string& call) {
        if (call == "airspyhf_list_devices 10")
            heldAtListing = hfDevice;
    };
    vendors().results["airspyhf_open_sn"] = -1;
    EXPECT_EQ(delegate.doDeviceInit(), -2);
    EXPECT_EQ(heldAtListing, nullptr);
    EXPECT_EQ(hfDevice, nullptr);
}

TEST_F(DeviceDispatch, AFailedReinitialisationLeavesTheStreamMarkedAsItWas) {
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    delegate.startDevice();
    vendors().hfSerials.clear();
    EXPECT_EQ(delegate.doDeviceInit(), -1);
    EXPECT_EQ(isStreaming, 1);
}

TEST_F(DeviceDispatch, TheHfGetsItsOperations) {
    openBoth();
    delegate.startDevice();
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(delegate.setDeviceFrequency(7100000), 0);
    delegate.stopDevice();
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(
        vendors().calls,
        (std::vector<std::string>{"airspyhf_start", "airspyhf_set_freq 7100000", "airspyhf_stop"}));
}

TEST_F(DeviceDispatch, TheAirspyGetsItsOperations) {
    deviceType = deviceAirspy;
    openBoth();
    delegate.startDevice();
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(delegate.setDeviceFrequency(100000000), 0);
    delegate.stopDevice();
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(vendors().calls,
              (std::vector<std::string>{"airspy_start_rx", "airspy_set_freq 100000000",
                                        "airspy_stop_rx"}));
}

TEST_F(DeviceDispatch, AFailedTuningOfEitherReceiverComesBackWithoutAnAlert) {
    openBoth();
    vendors().results = {{"airspyhf_set_freq", -1}, {"airspy_set_freq", -1}};
    EXPECT_EQ(delegate.setDeviceFrequency(1), -102);
    deviceType = deviceAirspy;
    EXPECT_EQ(delegate.setDeviceFrequency(2), -102);
    EXPECT_EQ(centerFrequency, 2);
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
}

TEST_F(DeviceDispatch, ThePopUpSetsTheTypeAndNothingElse) {
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    delegate.startDevice();
    clearRecordedLines();
    server.devicePopup.selected = 1;
    delegate.devicePopupChange();
    EXPECT_EQ(deviceType, deviceAirspy);
    EXPECT_EQ(recordedLines(), (Lines{logged("devicePopupChange 1")}));
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(server.settings.operations, std::vector<std::string>{});
    server.devicePopup.selected = 0;
    delegate.devicePopupChange();
    EXPECT_EQ(deviceType, deviceAirspyHf);
}

TEST_F(DeviceDispatch, ChoosingTheSameReceiverAgainIsLoggedAndChangesNothing) {
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    delegate.startDevice();
    clearRecordedLines();
    vendors().calls.clear();
    server.devicePopup.selected = 0;
    delegate.devicePopupChange();
    EXPECT_EQ(deviceType, deviceAirspyHf);
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(recordedLines(), (Lines{logged("devicePopupChange 0")}));
    EXPECT_EQ(vendors().calls, std::vector<std::string>{});
    delegate.stopDevice();
    EXPECT_EQ(vendors().calls, std::vector<std::string>{"airspyhf_stop"});
}

TEST_F(DeviceDispatch, APopUpWithNothingSelectedMeansNoReceiver) {
    server.devicePopup.selected = -1;
    delegate.devicePopupChange();
    EXPECT_EQ(deviceType, -1);
    EXPECT_EQ(recordedLines(), (Lines{logged("devicePopupChange -1")}));
}

TEST_F(DeviceDispatch, OfTheSelectedIndexTheLow32BitsCount) {
    server.devicePopup.selected = (std::int64_t{1} << 32) + 1;
    delegate.devicePopupChange();
    EXPECT_EQ(deviceType, 1);
    EXPECT_EQ(recordedLines(), (Lines{logged("devicePopupChange 1")}));
}

TEST_F(DeviceDispatch, APopUpChangeWhileTheHfStreamsSendsTheStopToTheAirspy) {
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    delegate.startDevice();
    server.devicePopup.selected = 1;
    delegate.devicePopupChange();
    clearRecordedLines();
    delegate.stopDevice();
    // No AirSpy was ever opened: the boundary answers, the HF+ streams on.
    EXPECT_EQ(recordedLines(), (Lines{logged("airspyhf_start err -2  ")}));
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(delegate.doDeviceInit(), 0);
    EXPECT_EQ(vendors().count("airspyhf_stop"), 0);
    EXPECT_EQ(hfDevice, nullptr);
}

TEST_F(DeviceDispatch, TheTypeIsReadAfreshByEveryOperation) {
    openBoth();
    EXPECT_EQ(delegate.setDeviceFrequency(1), 0);
    deviceType = deviceAirspy;
    EXPECT_EQ(delegate.setDeviceFrequency(2), 0);
    EXPECT_EQ(vendors().calls,
              (std::vector<std::string>{"airspyhf_set_freq 1", "airspy_set_freq 2"}));
}

TEST_F(DeviceDispatch, APopUpChangeDuringAStartStartsBoth) {
    openBoth();
    vendors().onCall = [](const std::string& call) {
        if (call == "airspyhf_start")
            deviceType = deviceAirspy;
    };
    delegate.startDevice();
    EXPECT_EQ(vendors().calls, (std::vector<std::string>{"airspyhf_start", "airspy_start_rx"}));
}

TEST_F(DeviceDispatch, APopUpChangeDuringAStopStopsBoth) {
    openBoth();
    vendors().onCall = [](const std::string& call) {
        if (call == "airspyhf_stop")
            deviceType = deviceAirspy;
    };
    delegate.stopDevice();
    EXPECT_EQ(vendors().calls, (std::vector<std::string>{"airspyhf_stop", "airspy_stop_rx"}));
}

TEST_F(DeviceDispatch, AChangeBackDuringTheAirspysStartStartsNoHf) {
    openBoth();
    deviceType = deviceAirspy;
    vendors().onCall = [](const std::string&) {
        deviceType = deviceAirspyHf;
    };
    delegate.startDevice();
    EXPECT_EQ(vendors().calls, (std::vector<std::string>{"airspy_start_rx"}));
}

TEST_F(DeviceDispatch, AFailedStartOrStopIsNotReportedToTheUser) {
    openBoth();
    vendors().results = {{"airspyhf_start", -1}, {"airspyhf_stop", -1}};
    delegate.startDevice();
    EXPECT_EQ(isStreaming, 1);
    delegate.stopDevice();
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
}

} // namespace
} // namespace feedline::test
