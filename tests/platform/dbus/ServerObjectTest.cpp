// SPDX-License-Identifier: MIT
// The object on a bus of the test's own, with the server's main thread and a caller in one thread.
#include "platform/dbus/ServerObject.h"

#include "BusCaller.h"
#include "MemoryPlatform.h"
#include "PrivateBus.h"
#include "ScriptedControls.h"
#include "Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <poll.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr auto alertShown = "org.feedline.Server1.Error.AlertShown";

class ServerObjectTest : public ::testing::Test {
public:
    ServerObjectTest() {
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        object.emplace(mainThread, dbus::BusKind::session, scripted.controls());
    }

    /// What the server's event loop does when it comes around.
    void turn() {
        pollfd ready{object->descriptor(), POLLIN, 0};
        if (poll(&ready, 1, 0) > 0)
            object->dispatch();
        mainThread.runTasks();
    }
    bool turnUntil(const std::function<bool()>& condition) {
        return waitUntil([&] {
            turn();
            return condition();
        });
    }
    std::unique_ptr<BusCaller> newCaller() {
        auto made = std::make_unique<BusCaller>(bus.address());
        made->meanwhile = [this] {
            turn();
        };
        return made;
    }
    /// On the bus, with a caller who watches.
    void begin() {
        object->start();
        caller = newCaller();
        ASSERT_TRUE(caller->awaitServer());
        caller->watch();
    }
    /// Whatever has been sent to the caller has come.
    void settle() const { caller->serverIsThere(); }

    PrivateBus bus;
    ScriptedControls scripted;
    ManualMainThread mainThread;
    std::optional<dbus::ServerObject> object;
    std::unique_ptr<BusCaller> caller;
};

TEST_F(ServerObjectTest, AnswersWithWhatTheControlsHold) {
    begin();
    EXPECT_EQ(caller->text("Program"), "program");
    EXPECT_EQ(caller->text("TcpStatus"), "TCP Server: WAITING FOR CONNECT");
    EXPECT_TRUE(caller->flag("Listening"));
    EXPECT_EQ(caller->number("LnaGain"), 0);
    EXPECT_THAT(caller->texts("Devices"), ElementsAre("AirSpyHF+", "AirSpy"));
    scripted.alert = {"message", 42};
    EXPECT_EQ(caller->lastAlert().text, "message");
    EXPECT_EQ(caller->lastAlert().time, 42U);
}

TEST_F(ServerObjectTest, HandsWrittenValuesToTheControls) {
    begin();
    EXPECT_EQ(caller->set("VgaGain", 7), "");
    EXPECT_EQ(caller->set("LnaAgc", true), "");
    EXPECT_EQ(caller->set("Address", "10.0.0.1"), "");
    EXPECT_THAT(scripted.done, ElementsAre("gain 4 7", "gain 0 1"));
    EXPECT_EQ(scripted.address.stringValue(), "10.0.0.1");
}

TEST_F(ServerObjectTest, RefusesWhatAControlDoesNotTake) {
    begin();
    EXPECT_EQ(caller->set("VgaGain", 16),
              "org.freedesktop.DBus.Error.InvalidArgs VgaGain takes 0 to 15");
    EXPECT_THAT(caller->set("VgaGain", "7"), StartsWith("org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_THAT(caller->set("TcpStatus", "mine"),
                StartsWith("org.freedesktop.DBus.Error.PropertyReadOnly"));
    EXPECT_THAT(caller->set("Nothing", 1),
                StartsWith("org.freedesktop.DBus.Error.UnknownProperty"));
    EXPECT_THAT(caller->call("Nothing"), StartsWith("org.freedesktop.DBus.Error.UnknownMethod"));
    EXPECT_THAT(scripted.done, IsEmpty());
}

TEST_F(ServerObjectTest, TellsOfAWrittenValueBeforeTheAnswer) {
    begin();
    ASSERT_EQ(caller->set("Sensitivity", 3), "");
    EXPECT_THAT(caller->changed(), ElementsAre("Sensitivity"));
    caller->forget();
    ASSERT_EQ(caller->set("Sensitivity", 3), ""); // No change, and none told.
    settle();
    EXPECT_THAT(caller->changed(), IsEmpty());
}

TEST_F(ServerObjectTest, LooksOnceASecondForWhatChangesByItself) {
    begin();
    scripted.tcpStatus.setStringValue("TCP Server: CONNECTED");
    scripted.remoteAddress.setStringValue("Remote Address: 127.0.0.1");
    scripted.listening = false;
    scripted.alert = {"message", 1};
    settle();
    EXPECT_THAT(caller->changed(), IsEmpty());
    mainThread.advance(1s);
    ASSERT_TRUE(turnUntil([this] {
        caller->process();
        return !caller->changed().empty();
    }));
    EXPECT_THAT(caller->changed(),
                ElementsAre("LastAlert", "Listening", "RemoteAddress", "TcpStatus"));
    caller->forget();
    mainThread.advance(10s);
    settle();
    EXPECT_THAT(caller->changed(), IsEmpty());
}

TEST_F(ServerObjectTest, ATextThatIsNoUtf8ReadsAsNone) {
    begin();
    scripted.address.setStringValue("\xFF\xFE");
    EXPECT_EQ(caller->text("Address"), "");
}

TEST_F(ServerObjectTest, RestartIsAnsweredWhenItIsDone) {
    begin();
    caller->send("Restart");
    ASSERT_TRUE(turnUntil([this] {
        caller->process();
        return caller->answers() == 1;
    }));
    EXPECT_THAT(scripted.done, ElementsAre("restart"));
}

TEST_F(ServerObjectTest, RestartIsAnsweredWhenItsAlertComesUp) {
    begin();
    int answersWhileUp = -1;
    scripted.onRestart = [&] { // A modal alert, and its event loop.
        scripted.alertIsUp = true;
        scripted.alert = {"No AirSpyHF+ found", 1};
        mainThread.perform([this] { object->alertShown(); });
        turnUntil([&] {
            caller->process();
            return caller->answers() == 1;
        });
        answersWhileUp = caller->answers();
        EXPECT_THAT(caller->changed(), Contains("LastAlert"));
        scripted.alertIsUp = false;
    };
    caller->send("Restart");
    ASSERT_TRUE(turnUntil([&] { return answersWhileUp != -1; }));
    EXPECT_EQ(answersWhileUp, 1);
    settle();
    EXPECT_EQ(caller->answers(), 1);
}

TEST_F(ServerObjectTest, RestartIsRefusedWhileAnAlertIsUp) {
    begin();
    scripted.alertIsUp = true;
    scripted.alert = {"Could not open AirSpyHF+", 1};
    EXPECT_THAT(caller->call("Restart"),
                AllOf(StartsWith(alertShown), HasSubstr("Could not open AirSpyHF+")));
    EXPECT_THAT(scripted.done, IsEmpty());
    scripted.alertIsUp = false;
    EXPECT_EQ(caller->call("Restart"), "");
}

TEST_F(ServerObjectTest, RestartsThatPileUpAreRefusedAndTheOthersRunOneByOne) {
    begin();
    for (int i = 0; i < 30; ++i)
        caller->send("Restart");
    caller->process();
    // All calls are handled before the first of their tasks: nothing but the limit keeps them out.
    ASSERT_TRUE(waitUntil([this] {
        object->dispatch();
        caller->process();
        return caller->answers() == 30 - 16;
    }));
    EXPECT_THAT(scripted.done, IsEmpty());
    ASSERT_TRUE(turnUntil([this] {
        caller->process();
        return caller->answers() == 30;
    }));
    EXPECT_EQ(scripted.done.size(), 16U);
}

TEST_F(ServerObjectTest, QuitIsAnsweredAndRunsOnceHoweverOftenItIsCalled) {
    begin();
    for (int i = 0; i < 20; ++i)
        caller->send("Quit");
    ASSERT_TRUE(turnUntil([this] {
        caller->process();
        return caller->answers() == 20;
    }));
    EXPECT_THAT(scripted.done, ElementsAre("quit"));
}

TEST_F(ServerObjectTest, ACallerWhoGoesAwayBeforeTheAnswerIsNobodysLoss) {
    begin();
    for (int i = 0; i < 5; ++i) {
        auto passing = newCaller();
        passing->send("Restart");
        passing->send("Nothing");
    }
    ASSERT_TRUE(turnUntil([this] { return scripted.done.size() == 5; }));
    EXPECT_EQ(caller->set("LnaGain", 1), "");
}

TEST_F(ServerObjectTest, TwoCallersAtOnceAreBothServed) {
    begin();
    auto second = newCaller();
    for (int i = 0; i <= 14; ++i) {
        EXPECT_EQ(caller->set("LnaGain", i), "");
        EXPECT_EQ(second->number("LnaGain"), i);
        EXPECT_EQ(second->set("VgaGain", i), "");
        EXPECT_EQ(caller->number("VgaGain"), i);
    }
}

TEST_F(ServerObjectTest, ComesToABusThatComesLater) {
    bus.stop();
    object->start();
    mainThread.advance(5s);
    turn();
    bus.start();
    mainThread.advance(1s);
    caller = newCaller();
    EXPECT_TRUE(caller->awaitServer());
    EXPECT_EQ(caller->text("Port"), "50000");
}

TEST_F(ServerObjectTest, ComesBackToABusThatWentAway) {
    begin();
    for (int i = 0; i < 3; ++i) {
        caller.reset();
        bus.stop();
        mainThread.advance(2s);
        turn();
        scripted.port.setStringValue(std::to_string(i));
        bus.start();
        mainThread.advance(1s);
        caller = newCaller();
        ASSERT_TRUE(caller->awaitServer());
        EXPECT_EQ(caller->text("Port"), std::to_string(i));
        EXPECT_EQ(caller->set("MixerGain", i), "");
    }
}

TEST_F(ServerObjectTest, ARestartOutlivesTheBusItCameOver) {
    begin();
    scripted.onRestart = [this] {
        bus.stop();
    };
    caller->send("Restart");
    ASSERT_TRUE(turnUntil([this] { return !scripted.done.empty(); }));
    bus.start();
    mainThread.advance(1s);
    caller = newCaller();
    EXPECT_TRUE(caller->awaitServer());
    EXPECT_EQ(scripted.done.size(), 1U);
}

TEST_F(ServerObjectTest, ASecondServerTakesTheNameOverWhenTheFirstGoes) {
    begin();
    ScriptedControls others;
    others.port.setStringValue("50001");
    ManualMainThread otherThread;
    dbus::ServerObject second(otherThread, dbus::BusKind::session, others.controls());
    second.start();
    caller->meanwhile = [&] {
        if (object)
            turn();
        second.dispatch();
    };
    settle();
    EXPECT_EQ(caller->text("Port"), "50000");
    mainThread.timers.clear();
    object.reset();
    ASSERT_TRUE(caller->awaitServer());
    EXPECT_EQ(caller->text("Port"), "50001");
}

TEST(BusOfThisProcess, IsTheSessionsUnlessItWasStartedOnTheSystems) {
    unsetenv("DBUS_STARTER_BUS_TYPE");
    EXPECT_EQ(dbus::busOfThisProcess(), dbus::BusKind::session);
    setenv("DBUS_STARTER_BUS_TYPE", "session", 1);
    EXPECT_EQ(dbus::busOfThisProcess(), dbus::BusKind::session);
    setenv("DBUS_STARTER_BUS_TYPE", "system", 1);
    EXPECT_EQ(dbus::busOfThisProcess(), dbus::BusKind::system);
}

} // namespace
} // namespace feedline::test
