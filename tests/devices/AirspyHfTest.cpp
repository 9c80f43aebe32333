// SPDX-License-Identifier: MIT
#include "DeviceTest.h"
#include "FailingMapping.h"
#include "RingMemory.h"
#include "stream/SampleCallbacks.h"

namespace feedline::test {
namespace {

class AirspyHf : public DeviceTest {
protected:
    AirspyHf() {
        ringMemoryRefused = false;
        ringsMapped = 0;
    }

    /// An open receiver, with nothing recorded of how it came to be.
    void open() {
        ASSERT_EQ(delegate.initAirspyHF(), 0);
        vendors().calls.clear();
        clearRecordedLines();
    }

    static Lines openedSequence() {
        return {logged("initAirspy"),
                noted("airspyhf_list_devices 10"),
                logged("n 1"),
                logged("0 1234605616436508552"),
                noted("airspyhf_open_sn 1234605616436508552"),
                logged("err 0")};
    }
    static Lines identitySequence() {
        return {
            noted("airspyhf_get_calibration"),
            logged("err 0  ppb -12"),
            noted("airspyhf_board_partid_serialno_read"),
            logged("err 0  airspyhf_board_partid_serialno_read 7 A1 B2 C3 D4"),
            noted("airspyhf_version_string_read 64"),
            logged("err 0  airspyhf_version_string_read R3.0.7-CD"),
        };
    }
    static Lines ratesSequence() {
        return joined(openedSequence(),
                      {noted("airspyhf_get_samplerates 0"), logged("err 0  numSampleRates 2"),
                       noted("airspyhf_get_samplerates 2"), logged("rate 0  768000"),
                       logged("rate 1  384000")});
    }
    static Lines upToIdentity() { return joined(ratesSequence(), identitySequence()); }
};

TEST_F(AirspyHf, InitialisationMakesItsCallsAndLinesInThisOrder) {
    EXPECT_EQ(delegate.initAirspyHF(), 0);
    EXPECT_EQ(recordedLines(),
              joined(upToIdentity(),
                     {noted("airspyhf_set_samplerate 0"), logged("airspyhf_set_samplerate err 0  "),
                      noted("airspyhf_set_freq 1600000"), logged("airspyhf_set_freq err 0  ")}));
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(centerFrequency, 1600000);
    EXPECT_EQ(isStreaming, 0);
}

TEST_F(AirspyHf, InitialisationClosesAReceiverItStillHolds) {
    open();
    EXPECT_EQ(delegate.initAirspyHF(), 0);
    ASSERT_GE(recordedLines().size(), 3U);
    EXPECT_EQ(recordedLines()[0], logged("initAirspy"));
    EXPECT_EQ(recordedLines()[1], noted("airspyhf_close"));
    EXPECT_EQ(recordedLines()[2], noted("airspyhf_list_devices 10"));
    EXPECT_EQ(vendors().count("airspyhf_close"), 1);
}

TEST_F(AirspyHf, NoneAttachedGivesMinus1AndOpensNothing) {
    vendors().hfSerials.clear();
    EXPECT_EQ(delegate.initAirspyHF(), -1);
    EXPECT_EQ(recordedLines(),
              (Lines{logged("initAirspy"), noted("airspyhf_list_devices 10"), logged("n 0")}));
    EXPECT_EQ(hfDevice, nullptr);
    EXPECT_EQ(centerFrequency, 0);
}

TEST_F(AirspyHf, AFailedListingGivesMinus1AndItsNumberIsLogged) {
    vendors().results["airspyhf_list_devices"] = -5;
    EXPECT_EQ(delegate.initAirspyHF(), -1);
    EXPECT_EQ(recordedLines(),
              (Lines{logged("initAirspy"), noted("airspyhf_list_devices 10"), logged("n -5")}));
}

TEST_F(AirspyHf, AFailedOpenGivesMinus2AndLeavesNoHandle) {
    vendors().results["airspyhf_open_sn"] = -1;
    EXPECT_EQ(delegate.initAirspyHF(), -2);
    EXPECT_EQ(recordedLines(),
              (Lines{logged("initAirspy"), noted("airspyhf_list_devices 10"), logged("n 1"),
                     logged("0 1234605616436508552"), noted("airspyhf_open_sn 1234605616436508552"),
                     logged("err -1")}));
    EXPECT_EQ(hfDevice, nullptr);
}

TEST_F(AirspyHf, AFailedRateCountGivesMinus3AndKeepsTheHandle) {
    vendors().results["airspyhf_get_samplerates#1"] = -7;
    EXPECT_EQ(delegate.initAirspyHF(), -3);
    EXPECT_EQ(recordedLines(), joined(openedSequence(), {noted("airspyhf_get_samplerates 0"),
                                                         logged("err -7  numSampleRates 2")}));
    EXPECT_EQ(hfDevice, hfHandle());
}

TEST_F(AirspyHf, AFailedRateListGivesMinus4WithoutALine) {
    vendors().results["airspyhf_get_samplerates#2"] = -7;
    EXPECT_EQ(delegate.initAirspyHF(), -4);
    EXPECT_EQ(recordedLines(), joined(openedSequence(), {noted("airspyhf_get_samplerates 0"),
                                                         logged("err 0  numSampleRates 2"),
                                                         noted("airspyhf_get_samplerates 2")}));
    EXPECT_EQ(hfDevice, hfHandle());
}

TEST_F(AirspyHf, ARefusedRateGivesMinus5AndTunesNothing) {
    vendors().results["airspyhf_set_samplerate"] = -3;
    EXPECT_EQ(delegate.initAirspyHF(), -5);
    EXPECT_EQ(recordedLines(),
              joined(upToIdentity(), {noted("airspyhf_set_samplerate 0"),
                                      logged("airspyhf_set_samplerate err -3  ")}));
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(centerFrequency, 0);
}

TEST_F(AirspyHf, AFailedFirstTuningGivesMinus102AndStillStoresTheFrequency) {
    vendors().results["airspyhf_set_freq"] = -9;
    EXPECT_EQ(delegate.initAirspyHF(), -102);
    EXPECT_EQ(recordedLines(),
              joined(upToIdentity(),
                     {noted("airspyhf_set_samplerate 0"), logged("airspyhf_set_samplerate err 0  "),
                      noted("airspyhf_set_freq 1600000"), logged("airspyhf_set_freq err -9  ")}));
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(centerFrequency, 1600000);
}

TEST_F(AirspyHf, FailuresToIdentifyItselfAreLoggedAndPassedOver) {
    vendors().results["airspyhf_get_calibration"] = -1;
    vendors().results["airspyhf_board_partid_serialno_read"] = -2;
    vendors().results["airspyhf_version_string_read"] = -3;
    EXPECT_EQ(delegate.initAirspyHF(), 0);
    EXPECT_EQ(countOf(logged("err -1  ppb -12")), 1);
    EXPECT_EQ(countOf(logged("err -2  airspyhf_board_partid_serialno_read 7 A1 B2 C3 D4")), 1);
    EXPECT_EQ(countOf(logged("err -3  airspyhf_version_string_read ")), 1);
}

TEST_F(AirspyHf, AVersionWithoutItsTerminatorIsCutAfter63Characters) {
    vendors().fillsVersionWhole = true;
    EXPECT_EQ(delegate.initAirspyHF(), 0);
    EXPECT_EQ(countOf(logged("err 0  airspyhf_version_string_read " + std::string(63, 'V'))), 1);
}

TEST_F(AirspyHf, OfTwoTheFirstListedIsOpenedByItsSerial) {
    vendors().hfSerials = {42, 7};
    EXPECT_EQ(delegate.initAirspyHF(), 0);
    EXPECT_EQ(countOf(logged("n 2")), 1);
    EXPECT_EQ(countOf(logged("0 42")), 1);
    EXPECT_EQ(countOf(noted("airspyhf_open_sn 42")), 1);
    EXPECT_EQ(vendors().count("airspyhf_open_sn"), 1);
}

TEST_F(AirspyHf, OfMoreThanTenOnlyTenAreListed) {
    vendors().hfSerials.assign(12, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(delegate.initAirspyHF(), 0);
    EXPECT_EQ(countOf(logged("n 10")), 1);
    EXPECT_EQ(countOf(logged("0 18446744073709551615")), 1);
}

TEST_F(AirspyHf, WithoutAnyRateNoneIsLoggedAndTheRefusedIndexGivesMinus5) {
    vendors().hfRates.clear();
    vendors().results["airspyhf_set_samplerate"] = -1;
    EXPECT_EQ(delegate.initAirspyHF(), -5);
    // Asked for 0 rates, the library writes a word into the list all the same.
    const Lines expected =
        joined(joined(openedSequence(),
                      {noted("airspyhf_get_samplerates 0"), logged("err 0  numSampleRates 0"),
                       noted("airspyhf_get_samplerates 0")}),
               joined(identitySequence(), {noted("airspyhf_set_samplerate 0"),
                                           logged("airspyhf_set_samplerate err -1  ")}));
    EXPECT_EQ(recordedLines(), expected);
}

TEST_F(AirspyHf, StartMakesTheRingAndStartsTheStream) {
    open();
    ringWriteIndex = 512;
    ringReadIndex = 1024;
    EXPECT_EQ(delegate.startAirSpyHF(), 0);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspyhf_start"), logged("airspyhf_start err 0  ")}));
    EXPECT_EQ(vendors().hfCallback, &airspyHfSampleCallback);
    EXPECT_EQ(isStreaming, 1);
    ASSERT_NE(sampleRing, nullptr);
    EXPECT_EQ(ringsMapped, 1);
    EXPECT_EQ(ringWriteIndex, 0);
    EXPECT_EQ(ringReadIndex, 0);
}

TEST_F(AirspyHf, IsStreamingAndTheWholeRingAreThereBeforeTheLibraryIsAsked) {
    open();
    bool asked = false;
    vendors().onCall = [&](const std::string& call) {
        asked = call == "airspyhf_start" && isStreaming == 1 && sampleRing != nullptr &&
                ringPagesInMemory() == ringPages();
    };
    delegate.startAirSpyHF();
    EXPECT_TRUE(asked);
}

TEST_F(AirspyHf, StartPutsARingInMemoryThatAnAirspyLeftUntouched) {
    open();
    ASSERT_TRUE(makeSampleRing());
    ringWriteIndex = 512;
    EXPECT_EQ(delegate.startAirSpyHF(), 0);
    EXPECT_EQ(ringPagesInMemory(), ringPages());
    EXPECT_EQ(ringWriteIndex, 512);
}

TEST_F(AirspyHf, StartAfterAStopReusesTheRingAndKeepsItsIndices) {
    open();
    delegate.startAirSpyHF();
    std::int16_t* const ring = sampleRing;
    delegate.stopAirSpyHF();
    ringWriteIndex = 2048;
    ringReadIndex = 512;
    EXPECT_EQ(delegate.startAirSpyHF(), 0);
    EXPECT_EQ(sampleRing, ring);
    EXPECT_EQ(ringsMapped, 1);
    EXPECT_EQ(ringWriteIndex, 2048);
    EXPECT_EQ(ringReadIndex, 512);
    EXPECT_EQ(isStreaming, 1);
}

TEST_F(AirspyHf, AFailedStartGivesMinus100AndLeavesItMarkedAsStreaming) {
    open();
    vendors().results["airspyhf_start"] = -1;
    EXPECT_EQ(delegate.startAirSpyHF(), -100);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspyhf_start"), logged("airspyhf_start err -1  ")}));
    EXPECT_EQ(isStreaming, 1);
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRunning.stringValue(), "AirSpyHF+ RUNNING");
}

TEST_F(AirspyHf, WithoutMemoryForTheRingNothingIsStarted) {
    open();
    ringMemoryRefused = true;
    EXPECT_EQ(delegate.startAirSpyHF(), -100);
    EXPECT_EQ(recordedLines(), (Lines{logged("sample ring of 33554432 bytes could not be made: "
                                             "Cannot allocate memory")}));
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(sampleRing, nullptr);

    ringMemoryRefused = false;
    EXPECT_EQ(delegate.startAirSpyHF(), 0);
    EXPECT_NE(sampleRing, nullptr);
}

TEST_F(AirspyHf, StopWritesTheStartsLine) {
    open();
    delegate.startAirSpyHF();
    ringWriteIndex = 1024;
    clearRecordedLines();
    EXPECT_EQ(delegate.stopAirSpyHF(), 0);
    EXPECT_EQ(recordedLines(), (Lines{noted("airspyhf_stop"), logged("airspyhf_start err 0  ")}));
    EXPECT_EQ(isStreaming, 0);
    EXPECT_NE(sampleRing, nullptr);
    EXPECT_EQ(ringWriteIndex, 1024);
    EXPECT_EQ(ringReadIndex, 0);
}

TEST_F(AirspyHf, AFailedStopGivesMinus101AndIsMarkedAsStopped) {
    open();
    delegate.startAirSpyHF();
    clearRecordedLines();
    vendors().results["airspyhf_stop"] = -4;
    std::uint8_t streamingWhenAsked = 1;
    vendors().onCall = [&](const std::string&) {
        streamingWhenAsked = isStreaming;
    };
    EXPECT_EQ(delegate.stopAirSpyHF(), -101);
    EXPECT_EQ(recordedLines(), (Lines{logged("airspyhf_start err -4  ")}));
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(streamingWhenAsked, 0);
}

TEST_F(AirspyHf, TuningPassesTheFrequencyAndStoresIt) {
    open();
    EXPECT_EQ(delegate.setAirSpyHFFrequency(7100000), 0);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspyhf_set_freq 7100000"), logged("airspyhf_set_freq err 0  ")}));
    EXPECT_EQ(centerFrequency, 7100000);
}

TEST_F(AirspyHf, ARefusedFrequencyGivesMinus102AndIsStoredAllTheSame) {
    open();
    vendors().results["airspyhf_set_freq"] = -1;
    EXPECT_EQ(delegate.setAirSpyHFFrequency(145512345), -102);
    EXPECT_EQ(recordedLines(),
              (Lines{noted("airspyhf_set_freq 145512345"), logged("airspyhf_set_freq err -1  ")}));
    EXPECT_EQ(centerFrequency, 145512345);
}

TEST_F(AirspyHf, ANegativeFrequencyReachesTheLibraryAsUnsigned) {
    open();
    EXPECT_EQ(delegate.setAirSpyHFFrequency(-1), 0);
    EXPECT_EQ(countOf(noted("airspyhf_set_freq 4294967295")), 1);
    EXPECT_EQ(centerFrequency, -1);
}

TEST_F(AirspyHf, WithoutAReceiverEveryOperationAnswersItsCodeAndNoCallIsMade) {
    EXPECT_EQ(delegate.startAirSpyHF(), -100);
    EXPECT_EQ(isStreaming, 1);
    EXPECT_EQ(delegate.stopAirSpyHF(), -101);
    EXPECT_EQ(isStreaming, 0);
    EXPECT_EQ(delegate.setAirSpyHFFrequency(14200000), -102);
    EXPECT_EQ(centerFrequency, 14200000);
    EXPECT_EQ(recordedLines(),
              (Lines{logged("airspyhf_start err -1  "), logged("airspyhf_start err -1  "),
                     logged("airspyhf_set_freq err -1  ")}));
}

} // namespace
} // namespace feedline::test
