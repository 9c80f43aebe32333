// SPDX-License-Identifier: MIT
#include "DeviceTest.h"
#include "FailingMapping.h"
#include "RingMemory.h"
#include "stream/SampleCallbacks.h"

namespace feedline::test {
namespace {

class Airspy : public DeviceTest {
protected:
    Airspy() {
        ringMemoryRefused = false;
        ringsMapped = 0;
    }

    void open() {
        ASSERT_EQ(delegate.initAirspy(), 0);
        vendors().calls.clear();
        clearRecordedLines();
    }

    static Lines openedSequence() {
        return {noted("airspy_list_devices 10"),
                logged("n 1"),
                logged("0 9833440827789222417"),
                noted("airspy_open"),
                logged("err 0"),
                noted("airspy_set_sample_type 2"),
                logged("airspy_set_sample_type err 0  ")};
    }
    static Lines ratesSequence() {
        return joined(openedSequence(),
                      {noted("airspy_get_samplerates 0"), logged("err 0  numSampleRates 2"),
                       noted("airspy_get_samplerates 2"), logged("rate 0  10000000"),
                       logged("rate 1  2500000")});
    }
    static Lines identitySequence() {
        return {noted("airspy_board_partid_serialno_read"),
                logged("err 0  airspy_board_partid_serialno_read 7 8 A1 B2 C3 D4"),
                noted("airspy_version_string_read 64"),
                logged("err 0  airspy_version_string_read AirSpy NOS v1.0.0-rc10")};
    }
    static Lines rateChoice(const std::string& line) {
        return {noted("airspy_set_samplerate 1"), logged(line)};
    }
    static Lines supplyOff(const std::string& line) {
        return {noted("airspy_set_packing 0"), logged("airspy_set_packing err 0  "),
                noted("airspy_set_rf_bias 0"), logged(line)};
    }
};

TEST_F(Airspy, InitialisationMakesItsCallsAndLinesInThisOrder) {
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(recordedLines(),
              joined(joined(ratesSequence(), rateChoice("airspy_set_samplerate err 0  ")),
                     joined(identitySequence(), supplyOff("airspy_set_rf_bias err 0  "))));
    EXPECT_EQ(airspyDevice, airspyHandle());
    EXPECT_EQ(isStreaming, 0);
}

TEST_F(Airspy, InitialisationLeavesTheFrequencyAndTheGainsAlone) {
    centerFrequency = 100000000;
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(centerFrequency, 100000000);
    EXPECT_EQ(vendors().count("airspy_set_freq"), 0);
    for (const std::string& call : vendors().calls) {
        EXPECT_EQ(call.find("gain"), std::string::npos) << call;
        EXPECT_EQ(call.find("agc"), std::string::npos) << call;
    }
}

TEST_F(Airspy, InitialisationClosesAReceiverItStillHolds) {
    open();
    EXPECT_EQ(delegate.initAirspy(), 0);
    ASSERT_GE(vendors().calls.size(), 2U);
    EXPECT_EQ(vendors().calls[0], "airspy_close");
    EXPECT_EQ(vendors().calls[1], "airspy_list_devices 10");
    EXPECT_EQ(vendors().count("airspy_close"), 1);
}

TEST_F(Airspy, NoneAttachedGivesMinus1AndOpensNothing) {
    vendors().airspySerials.clear();
    EXPECT_EQ(delegate.initAirspy(), -1);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspy_list_devices 10"), logged("n 0")}));
    EXPECT_EQ(airspyDevice, nullptr);
}

TEST_F(Airspy, AFailedListingGivesMinus1AndItsNumberIsLogged) {
    vendors().results["airspy_list_devices"] = -2;
    EXPECT_EQ(delegate.initAirspy(), -1);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspy_list_devices 10"), logged("n -2")}));
}

TEST_F(Airspy, AFailedOpenGivesMinus2AndLeavesNoHandle) {
    vendors().results["airspy_open"] = -1000;
    EXPECT_EQ(delegate.initAirspy(), -2);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_list_devices 10"), logged("n 1"),
                     logged("0 9833440827789222417"), noted("airspy_open"), logged("err -1000")}));
    EXPECT_EQ(airspyDevice, nullptr);
}

TEST_F(Airspy, AFailedRateCountGivesMinus3AndKeepsTheHandle) {
    vendors().results["airspy_get_samplerates#1"] = -2;
    EXPECT_EQ(delegate.initAirspy(), -3);
    EXPECT_EQ(recordedLines(), joined(openedSequence(), {noted("airspy_get_samplerates 0"),
                                                         logged("err -2  numSampleRates 2")}));
    EXPECT_EQ(airspyDevice, airspyHandle());
}

TEST_F(Airspy, AFailedRateListGivesMinus4WithoutALine) {
    vendors().results["airspy_get_samplerates#2"] = -2;
    EXPECT_EQ(delegate.initAirspy(), -4);
    EXPECT_EQ(recordedLines(), joined(openedSequence(), {noted("airspy_get_samplerates 0"),
                                                         logged("err 0  numSampleRates 2"),
                                                         noted("airspy_get_samplerates 2")}));
    EXPECT_EQ(airspyDevice, airspyHandle());
}

TEST_F(Airspy, ABiasSupplyThatStaysOnGivesMinus5AndKeepsTheHandle) {
    vendors().results["airspy_set_rf_bias"] = -1000;
    EXPECT_EQ(delegate.initAirspy(), -5);
    EXPECT_EQ(recordedLines(),
              joined(joined(ratesSequence(), rateChoice("airspy_set_samplerate err 0  ")),
                     joined(identitySequence(), supplyOff("airspy_set_rf_bias err -1000  "))));
    EXPECT_EQ(airspyDevice, airspyHandle());
}

TEST_F(Airspy, EveryOtherFailureAfterOpeningIsLoggedAndPassedOver) {
    vendors().results["airspy_set_sample_type"] = -1;
    vendors().results["airspy_set_samplerate"] = -2;
    vendors().results["airspy_board_partid_serialno_read"] = -3;
    vendors().results["airspy_version_string_read"] = -4;
    vendors().results["airspy_set_packing"] = -5;
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(countOf(logged("airspy_set_sample_type err -1  ")), 1);
    EXPECT_EQ(countOf(logged("airspy_set_samplerate err -2  ")), 1);
    EXPECT_EQ(countOf(logged("err -3  airspy_board_partid_serialno_read 7 8 A1 B2 C3 D4")), 1);
    EXPECT_EQ(countOf(logged("err -4  airspy_version_string_read ")), 1);
    EXPECT_EQ(countOf(logged("airspy_set_packing err -5  ")), 1);
    EXPECT_EQ(countOf(logged("airspy_set_rf_bias err 0  ")), 1);
}

TEST_F(Airspy, AVersionWithoutItsTerminatorIsCutAfter63Characters) {
    vendors().fillsVersionWhole = true;
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(countOf(logged("err 0  airspy_version_string_read " + std::string(63, 'V'))), 1);
}

TEST_F(Airspy, OfTwoTheLibraryChoosesAndTheFirstSerialIsLogged) {
    vendors().airspySerials = {42, 7};
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(countOf(logged("n 2")), 1);
    EXPECT_EQ(countOf(logged("0 42")), 1);
    EXPECT_EQ(vendors().count("airspy_open"), 1);
}

TEST_F(Airspy, OfMoreThanTenOnlyTenAreListed) {
    vendors().airspySerials.assign(12, 1);
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(countOf(logged("n 10")), 1);
}

TEST_F(Airspy, WithASingleRateTheSecondIsAskedForAllTheSame) {
    vendors().airspyRates = {6000000};
    vendors().results["airspy_set_samplerate"] = -2;
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(recordedLines(),
              joined(joined(openedSequence(),
                            {noted("airspy_get_samplerates 0"), logged("err 0  numSampleRates 1"),
                             noted("airspy_get_samplerates 1"), logged("rate 0  6000000")}),
                     joined(rateChoice("airspy_set_samplerate err -2  "),
                            joined(identitySequence(), supplyOff("airspy_set_rf_bias err 0  ")))));
}

TEST_F(Airspy, WithoutAnyRateItStillServes) {
    vendors().airspyRates.clear();
    EXPECT_EQ(delegate.initAirspy(), 0);
    EXPECT_EQ(countOf(logged("err 0  numSampleRates 0")), 1);
    for (const Line& line : recordedLines())
        EXPECT_NE(line.text.substr(0, 5), "rate ") << line.text;
}

TEST_F(Airspy, StartMakesTheRingItNeverUsesAndStartsTheStream) {
    open();
    ringWriteIndex = 512;
    ringReadIndex = 1024;
    EXPECT_EQ(delegate.startAirSpy(), 0);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspy_start_rx"), logged("airspyhf_start err 0  ")}));
    EXPECT_EQ(vendors().airspyCallback, &airspySampleCallback);
    EXPECT_EQ(isStreaming, 1);
    EXPECT_NE(sampleRing, nullptr);
    EXPECT_EQ(ringsMapped, 1);
    EXPECT_EQ(ringPagesInMemory(), 0U); // This receiver never writes there.
    EXPECT_EQ(ringWriteIndex, 0);
    EXPECT_EQ(ringReadIndex, 0);
}

TEST_F(Airspy, IsStreamingAndTheRingAreThereBeforeTheLibraryIsAsked) {
    open();
    bool asked = false;
    vendors().onCall = [&](const std::string& call) {
        asked = call == "airspy_start_rx" && isStreaming == 1 && sampleRing != nullptr;
    };
    delegate.startAirSpy();
    EXPECT_TRUE(asked);
}

TEST_F(Airspy, StartAfterAStopReusesTheRingAndKeepsItsIndices) {
    open();
    delegate.startAirSpy();
    std::int16_t* const ring = sampleRing;
    delegate.stopAirSpy();
    ringWriteIndex = 2048;
    ringReadIndex = 512;
    EXPECT_EQ(delegate.startAirSpy(), 0);
    EXPECT_EQ(sampleRing, ring);
    EXPECT_EQ(ringsMapped, 1);
    EXPECT_EQ(ringWriteIndex, 2048);
    EXPECT_EQ(ringReadIndex, 512);
}

TEST_F(Airspy, ASecondStartThatTheLibraryRefusesGivesMinus100) {
    open();
    vendors().results["airspy_start_rx#2"] = AIRSPY_ERROR_BUSY;
    EXPECT_EQ(delegate.startAirSpy(), 0);
    clearRecordedLines();
    EXPECT_EQ(delegate.startAirSpy(), -100);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_start_rx"), logged("airspyhf_start err -6  ")}));
    EXPECT_EQ(isStreaming, 1);
}

TEST_F(Airspy, WithoutMemoryForTheRingNothingIsStarted) {
    open();
    ringMemoryRefused = true;
    EXPECT_EQ(delegate.startAirSpy(), -100);
    EXPECT_EQ(recordedLines(), (Lines{logged("sample ring of 33554432 bytes could not be made: "
                                             "Cannot allocate memory")}));
    EXPECT_EQ(isStreaming, 1);
}

TEST_F(Airspy, StopWritesTheHfsStartLine) {
    open();
    delegate.startAirSpy();
    clearRecordedLines();
    EXPECT_EQ(delegate.stopAirSpy(), 0);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspy_stop_rx"), logged("airspyhf_start err 0  ")}));
    EXPECT_EQ(isStreaming, 0);
}

TEST_F(Airspy, AFailedStopGivesMinus101AndIsMarkedAsStopped) {
    open();
    delegate.startAirSpy();
    clearRecordedLines();
    vendors().results["airspy_stop_rx"] = -1001;
    std::uint8_t streamingWhenAsked = 1;
    vendors().onCall = [&](const std::string&) {
        streamingWhenAsked = isStreaming;
    };
    EXPECT_EQ(delegate.stopAirSpy(), -101);
    EXPECT_EQ(recordedLines(), (Lines{logged("airspyhf_start err -1001  ")}));
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(streamingWhenAsked, 0);
}

TEST_F(Airspy, TuningPassesTheFrequencyAndStoresIt) {
    open();
    EXPECT_EQ(delegate.setAirSpyFrequency(100000000), 0);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_freq 100000000"), logged("airspy_set_freq err 0  ")}));
    EXPECT_EQ(centerFrequency, 100000000);
}

TEST_F(Airspy, ARefusedFrequencyGivesMinus102AndIsStoredAllTheSame) {
    open();
    vendors().results["airspy_set_freq"] = -2;
    EXPECT_EQ(delegate.setAirSpyFrequency(7100000), -102);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspy_set_freq 7100000"), logged("airspy_set_freq err -2  ")}));
    EXPECT_EQ(centerFrequency, 7100000);
}

TEST_F(Airspy, ANegativeFrequencyReachesTheLibraryAsUnsigned) {
    open();
    EXPECT_EQ(delegate.setAirSpyFrequency(-2147483647 - 1), 0);
    EXPECT_EQ(countOf(noted("airspy_set_freq 2147483648")), 1);
}

TEST_F(Airspy, WithoutAReceiverEveryOperationAnswersItsCodeAndNoCallIsMade) {
    EXPECT_EQ(delegate.startAirSpy(), -100);
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(delegate.stopAirSpy(), -101);
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(delegate.setAirSpyFrequency(100000000), -102);
    EXPECT_EQ(centerFrequency, 100000000);
    EXPECT_EQ(recordedLines(),
              (Lines{logged("airspyhf_start err -2  "), logged("airspyhf_start err -2  "),
                     logged("airspy_set_freq err -2  ")}));
}

} // namespace
} // namespace feedline::test
