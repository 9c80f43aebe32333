// SPDX-License-Identifier: MIT
#include "Loopback.h"
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "ScriptedVendors.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <limits>
#include <memory>
#include <sys/socket.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Lines = std::vector<Line>;
using Operations = std::vector<std::string>;
using Shown = RecordingAlert::Shown;
using Value = MemorySettings::Value;

class Launch : public ::testing::Test {
protected:
    Launch() { resetVendors(); }

    /// As on a machine without any receiver, where launch starts no server thread.
    void launchWithoutReceiver() {
        vendors().hfSerials.clear();
        vendors().airspySerials.clear();
        delegate.applicationDidFinishLaunching();
    }

    Value saved(const std::string& key) { return server.settings.values.at(key); }

    Server server;
    AppDelegate& delegate = server.delegate;
};

// The settings

TEST_F(Launch, TheFirstOneEverUsesTheDefaults) {
    launchWithoutReceiver();
    EXPECT_EQ(server.devicePopup.titles, (std::vector<std::string>{"AirSpyHF+", "AirSpy"}));
    EXPECT_EQ(server.devicePopup.selected, 0);
    EXPECT_EQ(deviceType, 0);
    EXPECT_EQ(server.serverPort.stringValue(), "50000");
    EXPECT_EQ(serverPortNumber, 50000);
    EXPECT_EQ(countOf(logged("portToUse 50000")), 1);
    EXPECT_EQ(server.udpAddr.stringValue(), "127.0.0.1");
    EXPECT_EQ(udpAddress.str(), "127.0.0.1");
}

TEST_F(Launch, StoredSettingsComeBack) {
    server.settings.values = {{"sdrPortNumber", std::int64_t{50101}},
                              {"sdrType", std::int64_t{1}},
                              {"sdrUdpAdr", std::string("192.168.1.20")}};
    launchWithoutReceiver();
    EXPECT_EQ(server.serverPort.stringValue(), "50101");
    EXPECT_EQ(serverPortNumber, 50101);
    EXPECT_EQ(countOf(logged("portToUse 50101")), 1);
    EXPECT_EQ(deviceType, 1);
    EXPECT_EQ(server.devicePopup.selected, 1);
    EXPECT_EQ(server.udpAddr.stringValue(), "192.168.1.20");
    EXPECT_EQ(udpAddress.str(), "192.168.1.20");
}

TEST_F(Launch, AStoredPortOf0GivesTheDefault) {
    server.settings.values["sdrPortNumber"] = std::int64_t{0};
    launchWithoutReceiver();
    EXPECT_EQ(server.serverPort.stringValue(), "50000");
    EXPECT_EQ(serverPortNumber, 50000);
}

TEST_F(Launch, ANegativeStoredPortGivesTheDefault) {
    server.settings.values["sdrPortNumber"] = std::int64_t{-50000};
    launchWithoutReceiver();
    EXPECT_EQ(serverPortNumber, 50000);
}

TEST_F(Launch, AStoredPortThatIsNoNumberGivesTheDefault) {
    server.settings.values["sdrPortNumber"] = std::string("http");
    launchWithoutReceiver();
    EXPECT_EQ(serverPortNumber, 50000);
}

TEST_F(Launch, AStoredPortOf70000IsKeptShownAndSaved) {
    server.settings.values["sdrPortNumber"] = std::int64_t{70000};
    launchWithoutReceiver();
    EXPECT_EQ(server.serverPort.stringValue(), "70000");
    EXPECT_EQ(serverPortNumber, 70000);
    EXPECT_EQ(countOf(logged("portToUse 70000")), 1);
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrPortNumber"), Value(std::int64_t{70000}));
}

TEST_F(Launch, OfStoredIntegersTheLow32BitsCount) {
    server.settings.values = {{"sdrPortNumber", (std::int64_t{3} << 32) + 8080},
                              {"sdrType", (std::int64_t{5} << 32) + 1}};
    launchWithoutReceiver();
    EXPECT_EQ(serverPortNumber, 8080);
    EXPECT_EQ(deviceType, 1);
    EXPECT_EQ(server.devicePopup.selected, 1);
}

TEST_F(Launch, TheLow32BitsOfAPortAreTakenWithTheirSign) {
    server.settings.values["sdrPortNumber"] = std::int64_t{0x80000001};
    launchWithoutReceiver();
    EXPECT_EQ(serverPortNumber, 50000);
}

TEST_F(Launch, TheLargestStoredPortIsKept) {
    server.settings.values["sdrPortNumber"] = std::int64_t{0x7FFFFFFF};
    launchWithoutReceiver();
    EXPECT_EQ(server.serverPort.stringValue(), "2147483647");
    EXPECT_EQ(serverPortNumber, 2147483647);
}

/// A port field that shows something else than it was given, as a formatter may.
class RewritingField : public MemoryField {
public:
    void setStringValue(const std::string& text) override {
        MemoryField::setStringValue(text == "50000" ? "1234" : text);
    }
};

TEST_F(Launch, ThePortIsWhatTheFieldShows) {
    RewritingField field;
    delegate.serverPort = &field;
    launchWithoutReceiver();
    EXPECT_EQ(serverPortNumber, 1234);
    EXPECT_EQ(countOf(logged("portToUse 1234")), 1);
}

TEST_F(Launch, ThePortFieldIsKeptNumericAndTheAddressFieldIsNot) {
    launchWithoutReceiver();
    EXPECT_TRUE(server.serverPort.numeric);
    EXPECT_FALSE(server.udpAddr.numeric);
}

TEST_F(Launch, AnEmptyStoredAddressIsKept) {
    server.settings.values["sdrUdpAdr"] = std::string();
    udpAddress.assign("10.0.0.1");
    server.udpAddr.setStringValue("from the layout");
    launchWithoutReceiver();
    EXPECT_TRUE(udpAddress.empty());
    EXPECT_EQ(server.udpAddr.stringValue(), "");
}

TEST_F(Launch, AStoredAddressOf255CharactersIsKeptWhole) {
    const std::string address(255, '1');
    server.settings.values["sdrUdpAdr"] = address;
    launchWithoutReceiver();
    EXPECT_EQ(udpAddress.str(), address);
    EXPECT_EQ(server.udpAddr.stringValue(), address);
}

TEST_F(Launch, AStoredAddressEndsAtItsFirstNul) {
    server.settings.values["sdrUdpAdr"] = std::string("10.0.0.1\0", 9) + std::string(300, 'x');
    launchWithoutReceiver();
    EXPECT_EQ(udpAddress.str(), "10.0.0.1");
    EXPECT_EQ(server.udpAddr.stringValue(), "10.0.0.1");
}

/// Settings that tell the world when anything is written to them.
class TellingSettings : public MemorySettings {
public:
    void setInteger(std::int64_t value, const std::string& key) override {
        std::fputs("store written\n", stderr);
        MemorySettings::setInteger(value, key);
    }
    void setString(const std::string& value, const std::string& key) override {
        std::fputs("store written\n", stderr);
        MemorySettings::setString(value, key);
    }
    void synchronize() override { std::fputs("store written\n", stderr); }
};

TEST_F(Launch, AStoredAddressOf256CharactersEndsTheProcessAndIsNotTruncated) {
    TellingSettings settings;
    settings.values["sdrUdpAdr"] = std::string(256, '1');
    AppDelegate launching{Platform{settings, server.mainThread, server.alert, server.activities}};
    launching.serverPort = &server.serverPort;
    launching.devicePopup = &server.devicePopup;
    launching.udpAddr = &server.udpAddr;
    vendors().onCall = [](const std::string&) {
        std::fputs("receiver touched\n", stderr);
    };
    EXPECT_EXIT(launching.applicationDidFinishLaunching(), ::testing::KilledBySignal(SIGABRT),
                AllOf(HasSubstr("setting sdrUdpAdr holds 256 characters, more than the 255"),
                      Not(HasSubstr("store written")), Not(HasSubstr("receiver touched"))));
}

// The receiver, the server and the rest

TEST_F(Launch, EmptiesTheRemoteAddress) {
    remoteAddress.assign("10.0.0.1");
    launchWithoutReceiver();
    EXPECT_TRUE(remoteAddress.empty());
}

TEST_F(Launch, WithoutAnHfItAlertsStartsNoServerAndGoesOn) {
    launchWithoutReceiver();
    EXPECT_EQ(server.alert.shown(),
              (std::vector<Shown>{{"No AirSpyHF+ found", "Is it plugged in?"}}));
    EXPECT_EQ(recordedLines(), (Lines{logged("portToUse 50000"), logged("initAirspy"),
                                      logged("n 0"), logged("So long, app nap")}));
    ASSERT_EQ(server.mainThread.timers.size(), 1U);
    EXPECT_EQ(server.mainThread.observers.size(), 1U);
    server.mainThread.advance(1s);
    EXPECT_EQ(server.serverTcpStatus.stringValue(), "TCP Server: WAITING FOR CONNECT");
    EXPECT_EQ(server.serverCenterFrequency.stringValue(), "Center Frequency: 0.000 kHz");
}

TEST_F(Launch, WithoutAnAirspyItSaysSoInTheLogAlone) {
    server.settings.values["sdrType"] = std::int64_t{1};
    launchWithoutReceiver();
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
    EXPECT_EQ(recordedLines(),
              (Lines{logged("portToUse 50000"), logged("n 0"), logged("So long, app nap")}));
    ASSERT_EQ(server.mainThread.timers.size(), 1U);
    server.mainThread.advance(1s);
    EXPECT_EQ(server.serverTcpStatus.stringValue(), "TCP Server: WAITING FOR CONNECT");
}

TEST_F(Launch, NoFailureOfTheHfStartsAServer) {
    for (const char* call :
         {"airspyhf_open_sn", "airspyhf_get_samplerates#1", "airspyhf_get_samplerates#2",
          "airspyhf_set_samplerate", "airspyhf_set_freq"}) {
        Server fresh;
        resetVendors();
        vendors().results[call] = -1;
        fresh.delegate.applicationDidFinishLaunching();
        EXPECT_EQ(countOf(logged("SetUpTcpServer")), 0) << call;
        EXPECT_EQ(countOf(logged("So long, app nap")), 1) << call;
        EXPECT_EQ(fresh.mainThread.timers.size(), 1U) << call;
        EXPECT_FALSE(fresh.alert.shown().empty()) << call;
    }
}

TEST_F(Launch, NoFailureOfTheAirspyStartsAServer) {
    for (const char* call : {"airspy_open", "airspy_get_samplerates#1", "airspy_get_samplerates#2",
                             "airspy_set_rf_bias"}) {
        Server fresh;
        resetVendors();
        vendors().results[call] = -1;
        fresh.settings.values["sdrType"] = std::int64_t{1};
        fresh.delegate.applicationDidFinishLaunching();
        EXPECT_EQ(countOf(logged("SetUpTcpServer")), 0) << call;
        EXPECT_EQ(fresh.mainThread.timers.size(), 1U) << call;
        EXPECT_EQ(fresh.alert.shown(), std::vector<Shown>{}) << call;
    }
}

TEST_F(Launch, ARestartAfterAFailedLaunchInitialisesTheReceiverButStartsNoServer) {
    launchWithoutReceiver();
    vendors().hfSerials = {42};
    delegate.restartServer();
    EXPECT_EQ(hfDevice, hfHandle());
    server.mainThread.runTasks();
    server.mainThread.advance(60s);
    EXPECT_EQ(countOf(logged("SetUpTcpServer")), 0);
}

TEST_F(Launch, WaitsForTheUsersAnswerBeforeItGoesOn) {
    vendors().results["airspyhf_open_sn"] = -1;
    std::size_t timersWhileUp = 0;
    server.alert.whileUp = [&] {
        note("alert");
        timersWhileUp += server.mainThread.timers.size() + server.mainThread.observers.size();
    };
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(recordedLines(),
              (Lines{logged("portToUse 50000"), logged("initAirspy"), logged("n 1"),
                     logged("0 1234605616436508552"), logged("err -1"), noted("alert"),
                     noted("alert"), logged("So long, app nap")}));
    EXPECT_EQ(timersWhileUp, 0U);
}

TEST_F(Launch, TheActivityKeepsTheMachineAwakeForTheLifeOfTheProcess) {
    launchWithoutReceiver();
    EXPECT_EQ(server.activities.begun,
              (std::vector<RecordingActivities::Begun>{{0x00FFFFFF, "receiving OSC messages"}}));
    EXPECT_FALSE(server.activities.token.expired());
    EXPECT_EQ(delegate.activity(), server.activities.token.lock());
    delegate.applicationWillTerminate();
    EXPECT_FALSE(server.activities.token.expired());
}

TEST_F(Launch, WhereThereIsNoActivityServiceItIsSkippedWithoutALine) {
    server.activities.available = false;
    launchWithoutReceiver();
    EXPECT_EQ(countOf(logged("So long, app nap")), 0);
    EXPECT_EQ(delegate.activity(), nullptr);
    EXPECT_EQ(server.mainThread.timers.size(), 1U);
}

TEST_F(Launch, ThePanelIsRefreshedEverySecondFromTheFirstOn) {
    launchWithoutReceiver();
    ASSERT_EQ(server.mainThread.timers.size(), 1U);
    EXPECT_EQ(server.mainThread.timers[0].interval, std::optional(1000ms));
    server.mainThread.advance(999ms);
    EXPECT_EQ(server.serverRunning.history().size(), 0U);
    server.mainThread.advance(1ms);
    EXPECT_EQ(server.serverRunning.history().size(), 1U);
    server.mainThread.advance(9s);
    EXPECT_EQ(server.serverRunning.history().size(), 10U);
}

TEST_F(Launch, WindowAndActivityAreKeptAsGiven) {
    const auto window = std::make_shared<Window>();
    const auto activity = std::make_shared<int>(1);
    delegate.setWindow(window);
    delegate.setActivity(activity);
    EXPECT_EQ(delegate.window(), window);
    EXPECT_EQ(delegate.activity(), activity);
    delegate.setWindow(nullptr);
    EXPECT_EQ(delegate.window(), nullptr);
}

// Termination

class Termination : public Launch {};

TEST_F(Termination, RightAfterTheFirstLaunchSavesTheDefaults) {
    launchWithoutReceiver();
    delegate.applicationWillTerminate();
    EXPECT_EQ(server.settings.values,
              (std::map<std::string, Value>{{"sdrPortNumber", std::int64_t{50000}},
                                            {"sdrType", std::int64_t{0}},
                                            {"sdrUdpAdr", std::string("127.0.0.1")}}));
}

TEST_F(Termination, WithoutEditsSavesWhatWasRead) {
    const std::map<std::string, Value> stored{{"sdrPortNumber", std::int64_t{50101}},
                                              {"sdrType", std::int64_t{1}},
                                              {"sdrUdpAdr", std::string()}};
    server.settings.values = stored;
    launchWithoutReceiver();
    delegate.applicationWillTerminate();
    EXPECT_EQ(server.settings.values, stored);
}

TEST_F(Termination, WritesInThisOrderAndOnceMoreForTheObserver) {
    launchWithoutReceiver();
    EXPECT_EQ(server.settings.operations, Operations{});
    delegate.applicationWillTerminate();
    const Operations once{"setInteger sdrPortNumber", "setInteger sdrType", "setString sdrUdpAdr",
                          "synchronize"};
    EXPECT_EQ(server.settings.operations, once);
    const auto values = server.settings.values;
    server.settings.operations.clear();
    server.mainThread.terminate();
    EXPECT_EQ(server.settings.operations, once);
    EXPECT_EQ(server.settings.values, values);
}

TEST_F(Termination, BeforeLaunchHasFilledTheFieldsSavesNothing) {
    server.settings.values["sdrPortNumber"] = std::int64_t{50101};
    delegate.applicationWillTerminate();
    EXPECT_EQ(server.settings.operations, Operations{});
    EXPECT_EQ(saved("sdrPortNumber"), Value(std::int64_t{50101}));
}

TEST_F(Termination, WhileLaunchWaitsForAnAlertSavesTheSettings) {
    server.settings.values["sdrUdpAdr"] = std::string("10.0.0.1");
    server.alert.whileUp = [this] {
        delegate.applicationWillTerminate();
    };
    launchWithoutReceiver();
    EXPECT_EQ(server.settings.operations.size(), 4U);
    EXPECT_EQ(saved("sdrUdpAdr"), Value(std::string("10.0.0.1")));
    EXPECT_EQ(saved("sdrPortNumber"), Value(std::int64_t{50000}));
}

TEST_F(Termination, APortFieldWithoutANumberIsSavedAs0AndTheNextLaunchUsesTheDefault) {
    launchWithoutReceiver();
    server.serverPort.setStringValue("");
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrPortNumber"), Value(std::int64_t{0}));
    server.serverPort.setStringValue("none");
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrPortNumber"), Value(std::int64_t{0}));

    Server next;
    next.settings.values = server.settings.values;
    next.delegate.applicationDidFinishLaunching();
    EXPECT_EQ(serverPortNumber, 50000);
    next.delegate.applicationWillTerminate();
    EXPECT_EQ(next.settings.values.at("sdrPortNumber"), Value(std::int64_t{50000}));
}

TEST_F(Termination, AnEditedPortIsSavedThoughNotApplied) {
    launchWithoutReceiver();
    server.serverPort.setStringValue("-7");
    EXPECT_EQ(serverPortNumber, 50000);
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrPortNumber"), Value(std::int64_t{-7}));
}

TEST_F(Termination, AnEditedAddressIsSavedThoughNotApplied) {
    launchWithoutReceiver();
    server.udpAddr.setStringValue("192.168.1.30");
    server.mainThread.advance(2s);
    delegate.restartServer();
    EXPECT_EQ(udpAddress.str(), "127.0.0.1");
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrUdpAdr"), Value(std::string("192.168.1.30")));
}

TEST_F(Termination, ThePopUpsChoiceIsSavedByWayOfTheType) {
    launchWithoutReceiver();
    server.devicePopup.selected = 1;
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrType"), Value(std::int64_t{0})); // Its action has not run.
    delegate.devicePopupChange();
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrType"), Value(std::int64_t{1}));
}

TEST_F(Termination, NegativeValuesAreSavedWithTheirSign) {
    launchWithoutReceiver();
    deviceType = -3;
    delegate.applicationWillTerminate();
    EXPECT_EQ(saved("sdrType"), Value(std::int64_t{-3}));
}

TEST_F(Termination, LeavesTheReceiverTheServerAndTheTimerAsTheyAre) {
    vendors().results["airspyhf_set_freq"] = -1; // The receiver opens, the server does not start.
    delegate.applicationDidFinishLaunching();
    isStreaming = 1;
    clearRecordedLines();
    vendors().calls.clear();
    delegate.applicationWillTerminate();
    EXPECT_EQ(recordedLines(), Lines{});
    EXPECT_EQ(vendors().calls, std::vector<std::string>{});
    EXPECT_EQ(hfDevice, hfHandle());
    EXPECT_EQ(isStreaming, 1);
    EXPECT_TRUE(serverActive);
    EXPECT_EQ(server.mainThread.timers.size(), 1U);
}

// The whole of it, with a server that comes up

/// Platform services that put a line of their own among the log's.
class NotingSettings : public MemorySettings {
public:
    std::int64_t integerForKey(const std::string& key) const override {
        note("read " + key);
        return MemorySettings::integerForKey(key);
    }
    std::optional<std::string> stringForKey(const std::string& key) const override {
        note("read " + key);
        return MemorySettings::stringForKey(key);
    }
};
class NotingMainThread : public ManualMainThread {
public:
    void performRepeatedly(std::chrono::milliseconds interval,
                           std::function<void()> task) override {
        note("timer every " + std::to_string(interval.count()) + " ms");
        ManualMainThread::performRepeatedly(interval, std::move(task));
    }
    void addWillTerminateObserver(std::function<void()> handler) override {
        note("observe termination");
        ManualMainThread::addWillTerminateObserver(std::move(handler));
    }
};
class NotingActivities : public RecordingActivities {
public:
    std::shared_ptr<void> beginActivity(std::uint64_t options, const std::string& reason) override {
        note("activity");
        return RecordingActivities::beginActivity(options, reason);
    }
};
class NotingField : public MemoryField {
public:
    void setStringValue(const std::string& text) override {
        note("field " + text);
        MemoryField::setStringValue(text);
    }
    void keepNumeric() override { note("numeric"); }
};
class NotingPopUp : public MemoryPopUp {
public:
    void removeAllItems() override { note("pop-up emptied"); }
    void addItemWithTitle(const std::string& title) override { note("pop-up item " + title); }
    void selectItemAtIndex(std::int64_t index) override {
        note("pop-up selects " + std::to_string(index));
    }
};

/// Leaked into the process: its server threads use it to their end.
struct NotingServer {
    NotingSettings settings;
    NotingMainThread mainThread;
    RecordingAlert alert;
    NotingActivities activities;
    NotingField serverPort, udpAddr;
    NotingPopUp devicePopup;
    AppDelegate delegate{Platform{settings, mainThread, alert, activities}};

    explicit NotingServer(std::int32_t port) {
        resetRunTimeState();
        clearRecordedLines();
        resetVendors();
        vendors().onCall = [](const std::string& call) {
            note(call);
        };
        settings.values["sdrPortNumber"] = std::int64_t{port};
        delegate.serverPort = &serverPort;
        delegate.udpAddr = &udpAddr;
        delegate.devicePopup = &devicePopup;
    }
    static NotingServer& make(std::int32_t port) {
        static auto& kept = *new std::vector<NotingServer*>;
        return *kept.emplace_back(new NotingServer(port));
    }
};

class WholeLaunch : public ::testing::Test {
protected:
    WholeLaunch() { server.settings.values["sdrUdpAdr"] = std::string("127.0.0.2"); }
    void TearDown() override { endServerThreads(); }

    /// The TCP thread is woken from its accept, the UDP thread sees that it is to end.
    static void endServerThreads() {
        if (countOf(logged("SetUpTcpServer")) == 0)
            return;
        serverActive = false;
        EXPECT_TRUE(waitForLine(printed("UDPThread exit\n")));
        ::shutdown(listenSocket, SHUT_RDWR);
        EXPECT_TRUE(waitUntil([] { return tcpStatus == tcpConnectFailed; }));
        ::close(listenSocket);
    }

    /// Lines of the server threads, which run while launch goes on, apart from launch's own.
    static bool ofServerThread(const Line& line) {
        return line.text.find("TCPThread") == 0 || line.text.find("*** UDP Thread") == 0;
    }
    static Lines launchLines() {
        Lines lines = recordedLines();
        std::erase_if(lines, ofServerThread);
        return lines;
    }
    static Lines tcpLines() {
        Lines lines = recordedLines();
        std::erase_if(lines, [](const Line& line) { return line.text.find("TCPThread") != 0; });
        return lines;
    }
    void expectServerThreads() {
        ASSERT_TRUE(waitForLine(printed("TCPThread Waiting for incoming connections...\n")));
        ASSERT_TRUE(waitForLine(logged("*** UDP Thread  0")));
        EXPECT_EQ(tcpLines(),
                  (Lines{printed("TCPThread Socket created\n"), printed("TCPThread bind done\n"),
                         printed("TCPThread Waiting for incoming connections...\n")}));
        EXPECT_EQ(countOf(logged("*** UDP Thread  0")), 1);
        EXPECT_TRUE(serverActive);
        EXPECT_EQ(tcpStatus, tcpWaiting);
    }

    /// What launch does around the receiver's initialisation.
    Lines whole(int type, const Lines& initialisation, bool withServer) const {
        const std::string number = std::to_string(port.number());
        Lines lines{noted("numeric"),
                    noted("pop-up emptied"),
                    noted("pop-up item AirSpyHF+"),
                    noted("pop-up item AirSpy"),
                    noted("read sdrType"),
                    noted("pop-up selects " + std::to_string(type)),
                    noted("read sdrPortNumber"),
                    noted("field " + number),
                    logged("portToUse " + number),
                    noted("read sdrUdpAdr"),
                    noted("field 127.0.0.2")};
        lines.insert(lines.end(), initialisation.begin(), initialisation.end());
        if (withServer) {
            lines.push_back(logged("SetUpTcpServer"));
            lines.push_back(logged("portToUse " + number));
        }
        const Lines rest{noted("observe termination"), noted("activity"),
                         logged("So long, app nap"), noted("timer every 1000 ms")};
        lines.insert(lines.end(), rest.begin(), rest.end());
        return lines;
    }

    ReservedPort port;
    NotingServer& server = NotingServer::make(port.number());
};

TEST_F(WholeLaunch, WithAnHfInitialisesItThenStartsTheServer) {
    server.delegate.applicationDidFinishLaunching();
    EXPECT_EQ(launchLines(),
              whole(0,
                    {logged("initAirspy"),
                     noted("airspyhf_list_devices 10"),
                     logged("n 1"),
                     logged("0 1234605616436508552"),
                     noted("airspyhf_open_sn 1234605616436508552"),
                     logged("err 0"),
                     noted("airspyhf_get_samplerates 0"),
                     logged("err 0  numSampleRates 2"),
                     noted("airspyhf_get_samplerates 2"),
                     logged("rate 0  768000"),
                     logged("rate 1  384000"),
                     noted("airspyhf_get_calibration"),
                     logged("err 0  ppb -12"),
                     noted("airspyhf_board_partid_serialno_read"),
                     logged("err 0  airspyhf_board_partid_serialno_read 7 A1 B2 C3 D4"),
                     noted("airspyhf_version_string_read 64"),
                     logged("err 0  airspyhf_version_string_read R3.0.7-CD"),
                     noted("airspyhf_set_samplerate 0"),
                     logged("airspyhf_set_samplerate err 0  "),
                     noted("airspyhf_set_freq 1600000"),
                     logged("airspyhf_set_freq err 0  ")},
                    true));
    expectServerThreads();
    EXPECT_EQ(centerFrequency, 1600000);
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
}

TEST_F(WholeLaunch, WithAnAirspyInitialisesItThenStartsTheServer) {
    server.settings.values["sdrType"] = std::int64_t{1};
    server.delegate.applicationDidFinishLaunching();
    EXPECT_EQ(launchLines(),
              whole(1,
                    {noted("airspy_list_devices 10"),
                     logged("n 1"),
                     logged("0 9833440827789222417"),
                     noted("airspy_open"),
                     logged("err 0"),
                     noted("airspy_set_sample_type 2"),
                     logged("airspy_set_sample_type err 0  "),
                     noted("airspy_get_samplerates 0"),
                     logged("err 0  numSampleRates 2"),
                     noted("airspy_get_samplerates 2"),
                     logged("rate 0  10000000"),
                     logged("rate 1  2500000"),
                     noted("airspy_set_samplerate 1"),
                     logged("airspy_set_samplerate err 0  "),
                     noted("airspy_board_partid_serialno_read"),
                     logged("err 0  airspy_board_partid_serialno_read 7 8 A1 B2 C3 D4"),
                     noted("airspy_version_string_read 64"),
                     logged("err 0  airspy_version_string_read AirSpy NOS v1.0.0-rc10"),
                     noted("airspy_set_packing 0"),
                     logged("airspy_set_packing err 0  "),
                     noted("airspy_set_rf_bias 0"),
                     logged("airspy_set_rf_bias err 0  ")},
                    true));
    expectServerThreads();
    EXPECT_EQ(centerFrequency, 0);
}

TEST_F(WholeLaunch, WithoutAnHfMakesEveryOtherStep) {
    vendors().hfSerials.clear();
    server.delegate.applicationDidFinishLaunching();
    EXPECT_EQ(
        recordedLines(),
        whole(0, {logged("initAirspy"), noted("airspyhf_list_devices 10"), logged("n 0")}, false));
}

class WholeLaunchOfUnknownType : public WholeLaunch,
                                 public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(WholeLaunchOfUnknownType, StartsTheServerWithoutAReceiverAndKeepsTheType) {
    server.settings.values["sdrType"] = std::int64_t{GetParam()};
    server.delegate.applicationDidFinishLaunching();
    EXPECT_EQ(launchLines(), whole(GetParam(), {}, true));
    expectServerThreads();
    EXPECT_EQ(deviceType, GetParam());
    EXPECT_EQ(vendors().calls, std::vector<std::string>{});
    EXPECT_EQ(server.alert.shown(), std::vector<Shown>{});
    server.delegate.applicationWillTerminate();
    EXPECT_EQ(server.settings.values.at("sdrType"), Value(std::int64_t{GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(Each, WholeLaunchOfUnknownType,
                         ::testing::Values(2, -1, std::numeric_limits<std::int32_t>::min()),
                         [](const auto& each) {
                             return each.param == 2 ? "Two" : each.param == -1 ? "Minus1" : "Least";
                         });

} // namespace
} // namespace feedline::test
