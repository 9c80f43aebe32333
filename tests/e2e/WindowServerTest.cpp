// SPDX-License-Identifier: MIT
// The window and the server behind it, joined as in the program and moved with real events: the
// vendors' libraries in this process, over emulated receivers, and a client on the control port.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatorControl.h"
#include "Loopback.h"
#include "MemoryPlatform.h"
#include "OffscreenApplication.h"
#include "RecordingLog.h"
#include "ServerProcess.h"
#include "app/RunTimeState.h"
#include "programs/WindowedServer.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace feedline::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto connectedText = "TCP Server: CONNECTED";
constexpr auto waitingText = "TCP Server: WAITING FOR CONNECT";
constexpr auto bindFailedText = "TCP Server: BIND FAILED";
constexpr auto connectFailedText = "TCP Server: CONNECT FAILED";
constexpr auto disconnectedText = "TCP Server: DISCONNECTED";

/// Where settings and emulator look, set before either does.
struct Environment {
    TemporaryFolder folder;
    std::string emulator = (folder.path() / "emulator").string();

    explicit Environment(const char* devices) {
        setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
        setenv("FEEDLINE_EMULATOR_DEVICES", devices, 1);
        setenv("FEEDLINE_EMULATOR_CONTROL", emulator.c_str(), 1);
    }
};

bool comes(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, std::chrono::milliseconds(longestWait).count());
}

/// The program but for its main function. Made once in a process, and kept to its end.
class Desktop {
public:
    static Desktop& make(std::int64_t type, const char* devices) {
        static auto& desktop = *new Desktop(type, devices); // Its threads run on.
        return desktop;
    }

    void launch() {
        server.launch();
        if (!QTest::qWaitForWindowExposed(server.window.get()))
            throw std::runtime_error("no window");
    }

    const std::string& emulatorSocket() const { return environment_.emulator; }

    std::string line(const char* name) const {
        return control<QWidget>(name).findChild<QLabel*>()->text().toStdString();
    }
    bool shows(const char* name, const std::string& text) const {
        return comes([&] { return line(name) == text; });
    }
    bool showsStatus(const std::string& text) const { return shows("serverTcpStatus", text); }

    template <typename Control>
    Control& control(const char* name) const {
        auto* found = server.window->findChild<Control*>(name);
        if (found == nullptr)
            throw std::logic_error(std::string("no control ") + name);
        return *found;
    }
    void retype(const char* name, const char* text) const {
        auto& edit = control<QLineEdit>(name);
        edit.setFocus();
        QTest::keySequence(&edit, QKeySequence::SelectAll);
        QTest::keyClick(&edit, Qt::Key_Delete);
        QTest::keyClicks(&edit, text);
    }
    void pressRestart() const {
        QTest::mouseClick(&control<QPushButton>("restartButton"), Qt::LeftButton);
    }
    void chooseAirspy() const {
        auto& popup = control<QComboBox>("devicePopup");
        popup.setFocus();
        QTest::keyClick(&popup, Qt::Key_Down);
    }

    /// At every alert from now on: notes its texts, calls `look`, and presses OK.
    void answerAlerts(std::function<void()> look = [] {}) {
        QObject::connect(&alertWatch_, &QTimer::timeout, [this, look = std::move(look)] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr || box == answered_)
                return;
            answered_ = box;
            alerts.push_back((box->text() + "|" + box->informativeText()).toStdString());
            look();
            answered_ = nullptr;
            QTest::keyClick(box, Qt::Key_Return);
        });
        alertWatch_.start(5);
    }

    /// Closes the window as its user would, and does what the program then does: what it saved.
    Settings close() {
        QMetaObject::invokeMethod(server.window.get(), "close", Qt::QueuedConnection);
        QApplication::exec();
        server.controller.applicationWillTerminate();
        const QtSettingsStore saved;
        return {saved.integerForKey("sdrPortNumber"), saved.integerForKey("sdrType"),
                saved.stringForKey("sdrUdpAdr")};
    }

private:
    Environment environment_;
    OffscreenApplication application_;
    RecordingActivities activities_;
    QTimer alertWatch_;
    const QMessageBox* answered_ = nullptr;

public:
    ReservedPort port;
    std::vector<std::string> alerts;
    WindowedServer server{activities_};

private:
    Desktop(std::int64_t type, const char* devices) : environment_(devices) {
        QtSettingsStore settings;
        settings.setInteger(type, "sdrType");
        settings.setInteger(port.number(), "sdrPortNumber");
        settings.synchronize();
    }
};

const auto takenTwice = ElementsAre("Could not open AirSpyHF+|", "Could not open AirSpyHF+|");
constexpr auto acceptLine = "TCPThread Waiting for incoming connections...\n";

// Status

TEST(WindowServer, ShowsAServerThatNobodyHasCalledYet) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    desktop.launch();
    EXPECT_TRUE(desktop.shows("serverCenterFrequency", "Center Frequency: 1600.000 kHz"));
    EXPECT_EQ(desktop.line("serverTcpStatus"), waitingText);
    EXPECT_EQ(desktop.line("serverRemoteIP"), "Remote Address: NOT CONNECTED");
    EXPECT_EQ(desktop.line("serverRunning"), "AirSpyHF+ IDLE");
}

TEST(WindowServer, FollowsAClientUntilTheNextOneCanCome) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 1; }));
    ControlConnection client(desktop.port.number());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
    EXPECT_TRUE(desktop.shows("serverRemoteIP", "Remote Address: 127.0.0.1"));
    client.ask(setState(2));
    EXPECT_TRUE(desktop.shows("serverRunning", "AirSpyHF+ RUNNING"));
    client.ask(setFrequency(145512345));
    EXPECT_TRUE(desktop.shows("serverCenterFrequency", "Center Frequency: 145512.359 kHz"));
    client.ask(setState(1));
    EXPECT_TRUE(desktop.shows("serverRunning", "AirSpyHF+ IDLE"));
    client.close();
    EXPECT_TRUE(desktop.showsStatus(disconnectedText));
    EXPECT_TRUE(desktop.shows("serverRemoteIP", "Remote Address: NOT CONNECTED"));
    EXPECT_TRUE(desktop.showsStatus(waitingText));
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 2; }));
    const ControlConnection next(desktop.port.number());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
}

TEST(WindowServer, ShowsAPortThatAnotherProgramHas) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    auto other = listenOn(desktop.port.number());
    desktop.answerAlerts(); // Restart finds the receiver taken, by this very process.
    desktop.launch();
    EXPECT_TRUE(desktop.showsStatus(bindFailedText));
    other.close();
    desktop.pressRestart(); // There is no server thread that it could wake.
    EXPECT_TRUE(desktop.showsStatus(waitingText));
    EXPECT_FALSE(listening(desktop.port.number()));
    EXPECT_EQ(countOf(logged("SetUpTcpServerAfterDelay")), 0);
    EXPECT_EQ(countOf(logged("SetUpTcpServer")), 1);
    EXPECT_THAT(desktop.alerts, takenTwice);
}

// Restart

TEST(WindowServer, RestartBringsAServerBackThatServedAClient) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf,airspy");
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 1; }));
    const ControlConnection client(desktop.port.number());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
    desktop.chooseAirspy();
    EXPECT_EQ(deviceType, deviceAirspy);
    EXPECT_EQ(airspyDevice.load(), nullptr) << "opened before Restart";
    desktop.pressRestart();
    EXPECT_NE(airspyDevice.load(), nullptr);
    EXPECT_TRUE(client.waitForEnd());
    EXPECT_TRUE(desktop.showsStatus(disconnectedText));
    EXPECT_TRUE(desktop.showsStatus(waitingText));
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 2; }));
    const ControlConnection next(desktop.port.number());
    EXPECT_FALSE(next.ask(askStatus()).empty());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
}

TEST(WindowServer, RestartEndsAServerThatWaitedForAClient) {
    auto& desktop = Desktop::make(deviceAirspy, "airspy");
    desktop.answerAlerts();
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 1; }));
    desktop.pressRestart();
    EXPECT_TRUE(desktop.showsStatus(connectFailedText));
    EXPECT_FALSE(listening(desktop.port.number()));
    desktop.pressRestart(); // No server thread any more: the line is all that changes.
    EXPECT_TRUE(desktop.showsStatus(waitingText));
    EXPECT_FALSE(listening(desktop.port.number()));
    EXPECT_EQ(countOf(logged("SetUpTcpServerAfterDelay")), 0);
    EXPECT_THAT(desktop.alerts, IsEmpty());
}

// The receiver misbehaves

TEST(WindowServer, StaysAliveWhileTheReceiverIsPulledOutAndWhileARequestHangs) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 1; }));
    const ControlConnection client(desktop.port.number());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
    EmulatorControl emulator(desktop.emulatorSocket());
    emulator.tell("forget hf");
    emulator.tell("hang hf request:2");
    client.send(setFrequency(7100000));
    EmulatorControl::until([&] { return emulator.calls("hf", 2) == 1; }, "the request");
    desktop.server.window->status.serverRunning.setStringValue("");
    EXPECT_TRUE(desktop.shows("serverRunning", "AirSpyHF+ IDLE")) << "no tick meanwhile";
    EXPECT_FALSE(client.hasInput(std::chrono::milliseconds(0)));
    desktop.retype("udpAddr", "192.168.1.20");
    EXPECT_EQ(desktop.server.window->receiver.udpAddr.stringValue(), "192.168.1.20");
    desktop.answerAlerts();
    emulator.tell("unplug hf"); // Which also ends the request; the library takes it for done.
    ASSERT_TRUE(comes([&] { return client.hasInput(std::chrono::milliseconds(0)); }));
    EXPECT_EQ(client.receive(), setFrequency(7100000));
    EXPECT_THAT(desktop.alerts, IsEmpty());
    EXPECT_TRUE(desktop.shows("serverCenterFrequency", "Center Frequency: 7100.000 kHz"));
    client.ask(setState(2)); // Refused, and shown as asked for.
    EXPECT_TRUE(desktop.shows("serverRunning", "AirSpyHF+ RUNNING"));
    EXPECT_EQ(desktop.close(), (Settings{desktop.port.number(), deviceAirspyHf, "192.168.1.20"}));
}

// Edits

TEST(WindowServer, AnEditedPortIsTheNextServersAndTheNextStarts) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    const ReservedPort other;
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 1; }));
    EXPECT_EQ(desktop.control<QLineEdit>("serverPort").text().toInt(), desktop.port.number());
    desktop.retype("serverPort", other.text().c_str());
    {
        const ControlConnection client(desktop.port.number()); // Still the old one.
        EXPECT_TRUE(desktop.showsStatus(connectedText));
    }
    EXPECT_TRUE(desktop.showsStatus(disconnectedText));
    EXPECT_TRUE(desktop.showsStatus(waitingText));
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 2; }));
    EXPECT_FALSE(listening(desktop.port.number()));
    const ControlConnection client(other.number());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
    EXPECT_EQ(desktop.close(), (Settings{other.number(), deviceAirspyHf, "127.0.0.1"}));
}

TEST(WindowServer, AnEditedAddressWaitsForTheNextStart) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    desktop.answerAlerts();
    desktop.launch();
    EXPECT_TRUE(desktop.shows("serverCenterFrequency", "Center Frequency: 1600.000 kHz"));
    desktop.retype("udpAddr", "192.168.1.20");
    {
        const ControlConnection client(desktop.port.number());
        EXPECT_TRUE(desktop.showsStatus(connectedText));
        desktop.pressRestart();
        EXPECT_THAT(desktop.alerts, takenTwice);
    }
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 2; }));
    EXPECT_EQ(udpAddress.str(), "127.0.0.1") << "taken at a Restart or a new set-up";
    EXPECT_EQ(desktop.close(), (Settings{desktop.port.number(), deviceAirspyHf, "192.168.1.20"}));
}

TEST(WindowServer, DoubtfulEditsAreSavedAsTheyStand) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf,airspy");
    desktop.launch();
    EXPECT_TRUE(desktop.shows("serverCenterFrequency", "Center Frequency: 1600.000 kHz"));
    desktop.retype("serverPort", "");
    desktop.retype("udpAddr", "nowhere");
    desktop.chooseAirspy(); // Never applied, but chosen.
    EXPECT_EQ(desktop.close(), (Settings{0, deviceAirspy, "nowhere"}));
}

// Alerts

TEST(WindowServer, AMissingReceiverHoldsLaunchUntilTheAlertIsDismissed) {
    auto& desktop = Desktop::make(deviceAirspyHf, "none");
    desktop.answerAlerts([] { EXPECT_EQ(countOf(logged("So long, app nap")), 0); });
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(logged("So long, app nap")) == 1; }));
    EXPECT_THAT(desktop.alerts, ElementsAre("No AirSpyHF+ found|Is it plugged in?"));
    EXPECT_FALSE(listening(desktop.port.number()));
    EXPECT_EQ(desktop.line("serverTcpStatus"), waitingText);
    EXPECT_EQ(desktop.close(), (Settings{desktop.port.number(), deviceAirspyHf, "127.0.0.1"}));
}

struct Refusal {
    const char* name;
    const char* faults;
    std::vector<std::string> alerts;
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.name;
}

class WindowLaunch : public ::testing::TestWithParam<Refusal> {};

TEST_P(WindowLaunch, TellsWhatTheReceiverRefusedAndServesNobody) {
    setenv("FEEDLINE_EMULATOR_FAULTS", GetParam().faults, 1);
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    desktop.answerAlerts();
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(logged("So long, app nap")) == 1; }));
    EXPECT_EQ(desktop.alerts, GetParam().alerts);
    EXPECT_FALSE(listening(desktop.port.number()));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, WindowLaunch,
    ::testing::Values(
        Refusal{"Opening", "claim hf", {"Could not open AirSpyHF+|", "Could not open AirSpyHF+|"}},
        Refusal{"Rate", "fail hf request:4 io", {"Could not set AirSpyHF+ sample rate|"}},
        Refusal{"Tuning", "fail hf request:2 2 at 2", {"AirSpyHF+ set frequency fail|"}}),
    [](const auto& refusal) { return refusal.param.name; });

TEST(WindowServer, ARefusedFrequencyHoldsTheClientWhileTheStatusGoesOn) {
    auto& desktop = Desktop::make(deviceAirspyHf, "hf");
    desktop.launch();
    ASSERT_TRUE(comes([] { return countOf(printed(acceptLine)) == 1; }));
    const ControlConnection client(desktop.port.number());
    EXPECT_TRUE(desktop.showsStatus(connectedText));
    bool shownMeanwhile = false;
    bool answeredMeanwhile = true;
    desktop.answerAlerts([&] {
        shownMeanwhile = desktop.shows("serverCenterFrequency", "Center Frequency: 7100.000 kHz");
        answeredMeanwhile = client.hasInput(std::chrono::milliseconds(0));
    });
    EmulatorControl(desktop.emulatorSocket())
        .tell("fail hf request:2 2"); // Half a request is done.
    client.send(setFrequency(7100000));
    ASSERT_TRUE(comes([&] { return client.hasInput(std::chrono::milliseconds(0)); }));
    EXPECT_EQ(client.receive(), setFrequency(7100000));
    EXPECT_THAT(desktop.alerts, ElementsAre("AirSpyHF+ set frequency fail|"));
    EXPECT_TRUE(shownMeanwhile) << "the status lines stood still under the alert";
    EXPECT_FALSE(answeredMeanwhile) << "the alert did not hold the client";
}

} // namespace
} // namespace feedline::test
