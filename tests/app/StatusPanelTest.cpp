// SPDX-License-Identifier: MIT
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "SingleSteps.h"
#include "app/RunTimeState.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>
#include <utility>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<Line>;
using Shown = RecordingAlert::Shown;

class StatusPanel : public ::testing::Test {
protected:
    StatusPanel() { resetVendors(); }

    std::string frequencyLine(std::int32_t hertz) {
        centerFrequency = hertz;
        delegate.OneSecTimer();
        return server.serverCenterFrequency.stringValue();
    }

    Server server;
    AppDelegate& delegate = server.delegate;
};

TEST_F(StatusPanel, BeforeAnythingHappensItWaitsForAClient) {
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverTcpStatus.stringValue(), "TCP Server: WAITING FOR CONNECT");
    EXPECT_EQ(server.serverRemoteIP.stringValue(), "Remote Address: NOT CONNECTED");
    EXPECT_EQ(server.serverRunning.stringValue(), "AirSpyHF+ IDLE");
    EXPECT_EQ(server.serverCenterFrequency.stringValue(), "Center Frequency: 0.000 kHz");
    EXPECT_EQ(recordedLines(), Lines{});
}

TEST_F(StatusPanel, EachStatusHasItsText) {
    const std::vector<std::pair<std::int32_t, std::string>> texts{
        {0, "TCP Server: CONNECTED"},
        {-1, "TCP Server: WAITING FOR CONNECT"},
        {-2, "TCP Server: BIND FAILED"},
        {-3, "TCP Server: CONNECT FAILED"},
        {-4, "TCP Server: DISCONNECTED"}};
    std::vector<std::string> expected;
    for (const auto& [code, text] : texts) {
        tcpStatus = code;
        delegate.OneSecTimer();
        expected.push_back(text);
    }
    EXPECT_EQ(server.serverTcpStatus.history(), expected); // One text a tick.
}

TEST_F(StatusPanel, AnyOtherStatusLeavesTheTextThatIsThere) {
    server.serverTcpStatus.setStringValue("from the layout");
    for (const std::int32_t code : {1, -5, 256, std::numeric_limits<std::int32_t>::min()}) {
        tcpStatus = code;
        delegate.OneSecTimer();
    }
    EXPECT_EQ(server.serverTcpStatus.history(), std::vector<std::string>{"from the layout"});
}

/// A status line during whose rewriting the status changes.
class ChangingField : public MemoryField {
public:
    explicit ChangingField(std::int32_t newStatus) : newStatus_(newStatus) {}
    void setStringValue(const std::string& text) override {
        MemoryField::setStringValue(text);
        tcpStatus = newStatus_;
    }

private:
    std::int32_t newStatus_;
};

TEST_F(StatusPanel, AStatusThatMovesOnInMidTickShowsItsNewerTextInTheSameTick) {
    ChangingField line(tcpDisconnected);
    delegate.serverTcpStatus = &line;
    tcpStatus = tcpConnected;
    delegate.OneSecTimer();
    EXPECT_EQ(line.history(),
              (std::vector<std::string>{"TCP Server: CONNECTED", "TCP Server: DISCONNECTED"}));
}

TEST_F(StatusPanel, AStatusThatGoesBackInMidTickShowsItsNewerTextOneTickLater) {
    ChangingField line(tcpConnected);
    delegate.serverTcpStatus = &line;
    tcpStatus = tcpWaiting;
    delegate.OneSecTimer();
    EXPECT_EQ(line.history(), std::vector<std::string>{"TCP Server: WAITING FOR CONNECT"});
    delegate.OneSecTimer();
    EXPECT_EQ(line.stringValue(), "TCP Server: CONNECTED");
}

#ifdef FEEDLINE_SINGLE_STEPS
/// A line that knows whether it has been set.
class OneLine : public MemoryField {
public:
    void setStringValue(const std::string& text) override {
        set = true;
        MemoryField::setStringValue(text);
    }
    static inline std::atomic<bool> set = false;
};

#ifdef __SANITIZE_ADDRESS__
constexpr int instructionsInOne = 5; // The sanitizers' code is between the program's.
#else
constexpr int instructionsInOne = 1;
#endif

TEST_F(StatusPanel, AStatusThatMovesOnBeforeItHasMatchedIsShownAsItWasRead) {
    // Once at each instruction of the tick before its first text.
    static int instructionsLeft = 0;
    static bool inTime = true;
    for (int n = 1; inTime; n += instructionsInOne) {
        OneLine line;
        OneLine::set = false;
        delegate.serverTcpStatus = &line;
        tcpStatus = tcpWaiting;
        instructionsLeft = n;
        inSingleSteps(
            [] {
                if (--instructionsLeft > 0)
                    return true;
                inTime = !OneLine::set;
                tcpStatus = tcpConnected; // Compared before the other one.
                return false;
            },
            [&] { delegate.OneSecTimer(); });
        ASSERT_EQ(line.history().size(), 1U) << "changed at instruction " << n;
    }
}
#endif

TEST_F(StatusPanel, TheClientsAddressIsShownWhileThereIsAClient) {
    remoteAddress.assign("192.168.1.20");
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRemoteIP.stringValue(), "Remote Address: 192.168.1.20");
    remoteAddress.clear();
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRemoteIP.stringValue(), "Remote Address: NOT CONNECTED");
}

TEST_F(StatusPanel, TheRunningLineFollowsTheFlag) {
    isStreaming = 1;
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRunning.stringValue(), "AirSpyHF+ RUNNING");
    isStreaming = 0;
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRunning.stringValue(), "AirSpyHF+ IDLE");
    isStreaming = 255;
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRunning.stringValue(), "AirSpyHF+ RUNNING");
}

TEST_F(StatusPanel, AnAirspyThatRunsIsShownUnderTheHfsName) {
    deviceType = deviceAirspy;
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    delegate.startDevice();
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverRunning.stringValue(), "AirSpyHF+ RUNNING");
}

TEST_F(StatusPanel, TheFrequencyIsShownInKilohertz) {
    EXPECT_EQ(frequencyLine(7100000), "Center Frequency: 7100.000 kHz");
    EXPECT_EQ(frequencyLine(1600000), "Center Frequency: 1600.000 kHz");
    EXPECT_EQ(frequencyLine(1), "Center Frequency: 0.001 kHz");
    EXPECT_EQ(frequencyLine(0), "Center Frequency: 0.000 kHz");
    EXPECT_EQ(frequencyLine(-7100000), "Center Frequency: -7100.000 kHz");
}

TEST_F(StatusPanel, TheFrequencyGoesThroughSinglePrecisionTwice) {
    EXPECT_EQ(frequencyLine(145512345), "Center Frequency: 145512.359 kHz");
    EXPECT_EQ(frequencyLine(16777217), "Center Frequency: 16777.217 kHz");
    EXPECT_EQ(frequencyLine(std::numeric_limits<std::int32_t>::max()),
              "Center Frequency: 2147483.750 kHz");
    EXPECT_EQ(frequencyLine(std::numeric_limits<std::int32_t>::min()),
              "Center Frequency: -2147483.750 kHz");
}

TEST_F(StatusPanel, AFrequencyTheReceiverRefusedIsShown) {
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    vendors().results["airspyhf_set_freq"] = -1;
    EXPECT_EQ(delegate.setDeviceFrequency(14200000), -102);
    delegate.OneSecTimer();
    EXPECT_EQ(server.serverCenterFrequency.stringValue(), "Center Frequency: 14200.000 kHz");
}

TEST_F(StatusPanel, TheLinesAreRewrittenOnceATickAndInTheirOrder) {
    class OrderedField : public MemoryField {
    public:
        void setStringValue(const std::string& text) override { note(text); }
    };
    OrderedField line;
    delegate.serverTcpStatus = delegate.serverRemoteIP = &line;
    delegate.serverRunning = delegate.serverCenterFrequency = &line;
    airspyDevice = airspyHandle();
    vendors().onCall = [](const std::string& call) {
        note(call);
    };
    delegate.OneSecTimer();
    EXPECT_EQ(
        recordedLines(),
        (Lines{noted("TCP Server: WAITING FOR CONNECT"), noted("Remote Address: NOT CONNECTED"),
               noted("AirSpyHF+ IDLE"), noted("Center Frequency: 0.000 kHz"),
               noted("airspy_is_streaming"), logged("iStreaming 0  samples: 0")}));
}

TEST_F(StatusPanel, WithoutAnAirspyTheSamplesAreNeitherLoggedNorZeroed) {
    deviceType = deviceAirspyHf;
    ASSERT_EQ(delegate.doDeviceInit(), 0);
    clearRecordedLines();
    samplesStreamed = 1234;
    delegate.OneSecTimer();
    EXPECT_EQ(recordedLines(), Lines{});
    EXPECT_EQ(vendors().count("airspy_is_streaming"), 0);
    EXPECT_EQ(samplesStreamed, 1234);
}

TEST_F(StatusPanel, AnOpenAirspyThatWasNotStartedLogsNoSamplesEverySecond) {
    airspyDevice = airspyHandle();
    delegate.OneSecTimer();
    delegate.OneSecTimer();
    EXPECT_EQ(recordedLines(),
              (Lines{logged("iStreaming 0  samples: 0"), logged("iStreaming 0  samples: 0")}));
}

TEST_F(StatusPanel, AStreamingAirspyLogsItsSamplesOfTheLastSecond) {
    airspyDevice = airspyHandle();
    vendors().airspyStreaming = 1;
    samplesStreamed = 2500096;
    delegate.OneSecTimer();
    EXPECT_EQ(samplesStreamed, 0);
    samplesStreamed = -5;
    delegate.OneSecTimer();
    EXPECT_EQ(recordedLines(), (Lines{logged("iStreaming 1  samples: 2500096"),
                                      logged("iStreaming 1  samples: -5")}));
}

TEST_F(StatusPanel, WhetherTheAirspyStreamsIsTheLibrarysAnswerNotTheFlag) {
    airspyDevice = airspyHandle();
    isStreaming = 1;
    delegate.OneSecTimer();
    EXPECT_EQ(recordedLines(), (Lines{logged("iStreaming 0  samples: 0")}));
}

TEST_F(StatusPanel, AnAlertShowsItsMessageAndItsInformation) {
    delegate.displayAnAlert("No AirSpyHF+ found", "Is it plugged in?");
    EXPECT_EQ(server.alert.shown(),
              (std::vector<Shown>{{"No AirSpyHF+ found", "Is it plugged in?"}}));
}

TEST_F(StatusPanel, AnAlertWithoutInformationShowsItsMessageAlone) {
    delegate.displayAnAlert("Could not open AirSpyHF+", "");
    EXPECT_EQ(server.alert.shown(), (std::vector<Shown>{{"Could not open AirSpyHF+", ""}}));
    EXPECT_EQ(recordedLines(), Lines{});
}

TEST_F(StatusPanel, AnAlertHoldsItsCallerUntilItIsDismissed) {
    server.alert.hold(true);
    std::future<void> caller =
        std::async(std::launch::async, [&] { delegate.displayAnAlert("message", ""); });
    ASSERT_TRUE(waitUntil([&] { return server.alert.isUp(); }));
    EXPECT_EQ(caller.wait_for(0s), std::future_status::timeout);
    server.alert.hold(false);
    caller.get();
    EXPECT_FALSE(server.alert.isUp());
}

TEST_F(StatusPanel, NewInfoDataAndNewStatusLogTheirNamesAndDoNothingElse) {
    delegate.NewInfoData();
    delegate.NewStatus();
    EXPECT_EQ(recordedLines(), (Lines{logged("NewInfoData"), logged("NewStatus")}));
    EXPECT_EQ(server.serverTcpStatus.history(), std::vector<std::string>{});
}

} // namespace
} // namespace feedline::test
