// SPDX-License-Identifier: MIT
#include "devices/VendorLibraries.h"

#include "DeviceTest.h"
#include "stream/SampleCallbacks.h"

namespace feedline::test {
namespace {

class VendorLibraries : public DeviceTest {};

TEST_F(VendorLibraries, ANullHfIsAnsweredWithTheLibrarysErrorAndNotPassedOn) {
    EXPECT_EQ(vendor::airspyhfStart(nullptr, airspyHfSampleCallback), -1);
    EXPECT_EQ(vendor::airspyhfStop(nullptr), -1);
    EXPECT_EQ(vendor::airspyhfSetFreq(nullptr, 7100000), -1);
    EXPECT_EQ(recordedLines(), Lines{});
}

TEST_F(VendorLibraries, ANullAirspyIsAnsweredAsAnInvalidParameterAndNotPassedOn) {
    EXPECT_EQ(vendor::airspyStartRx(nullptr, airspySampleCallback), -2);
    EXPECT_EQ(vendor::airspyStopRx(nullptr), -2);
    EXPECT_EQ(vendor::airspySetFreq(nullptr, 100000000), -2);
    EXPECT_EQ(recordedLines(), Lines{});
}

TEST_F(VendorLibraries, AnOpenHfGetsItsCallsAndTheirResultsComeBack) {
    vendors().results = {{"airspyhf_start", -3}, {"airspyhf_stop", -4}, {"airspyhf_set_freq", -5}};
    EXPECT_EQ(vendor::airspyhfStart(hfHandle(), airspyHfSampleCallback), -3);
    EXPECT_EQ(vendor::airspyhfStop(hfHandle()), -4);
    EXPECT_EQ(vendor::airspyhfSetFreq(hfHandle(), 4294967295U), -5);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspyhf_start"), noted("airspyhf_stop"),
                                      noted("airspyhf_set_freq 4294967295")}));
    EXPECT_EQ(vendors().hfCallback, &airspyHfSampleCallback);
}

TEST_F(VendorLibraries, AnOpenAirspyGetsItsCallsAndTheirResultsComeBack) {
    vendors().results = {{"airspy_start_rx", -3}, {"airspy_stop_rx", -4}, {"airspy_set_freq", -5}};
    EXPECT_EQ(vendor::airspyStartRx(airspyHandle(), airspySampleCallback), -3);
    EXPECT_EQ(vendor::airspyStopRx(airspyHandle()), -4);
    EXPECT_EQ(vendor::airspySetFreq(airspyHandle(), 24000000), -5);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspy_start_rx"), noted("airspy_stop_rx"),
                                      noted("airspy_set_freq 24000000")}));
    EXPECT_EQ(vendors().airspyCallback, &airspySampleCallback);
}

} // namespace
} // namespace feedline::test
