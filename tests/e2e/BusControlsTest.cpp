// SPDX-License-Identifier: MIT
// The real programs worked over a message bus of the test's own, down to the emulated receivers.
#include "BusCaller.h"
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"
#include "Loopback.h"
#include "PrivateBus.h"
#include "Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <ostream>
#include <regex>
#include <set>
#include <thread>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr auto hfTitle = "AirSpyHF+";
constexpr auto airspyTitle = "AirSpy";

/// A program on a bus, with a caller.
struct Controlled {
    PrivateBus bus;
    StreamedServer server;
    BusCaller caller;

    explicit Controlled(int type, Emulated emulated = {.devices = "hf,airspy"})
        : server(type, onBus(std::move(emulated))), caller(bus.address()) {
        if (!caller.awaitServer())
            throw std::runtime_error("no server on the bus");
    }
    ~Controlled() {
        if (server.process.running()) {
            EXPECT_EQ(server.process.end(SIGTERM, "after the test"), 0);
        }
        EXPECT_EQ(server.datagrams.counts().malformed, 0U);
    }
    Controlled(const Controlled&) = delete;
    Controlled& operator=(const Controlled&) = delete;

    Emulated onBus(Emulated emulated) const {
        emulated.more["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
        return emulated;
    }
    bool becomes(const char* property, const std::string& value) {
        return waitUntil([&] { return caller.text(property) == value; });
    }
    bool listeningBecomes(bool value) {
        return waitUntil([&] { return caller.flag("Listening") == value; });
    }
    std::string gain(const char* name) { return server.receiver.value("airspy", name); }
    std::vector<std::string> logged(const std::string& start) const {
        std::vector<std::string> lines;
        for (const std::string& line : server.process.logLines())
            if (line.starts_with(start))
                lines.push_back(line);
        return lines;
    }
};

void startStream(const ControlConnection& client, std::uint32_t centre) {
    ASSERT_EQ(client.ask(setFrequency(centre)), setFrequency(centre));
    ASSERT_EQ(client.ask(setState(runState)), setState(runState));
}

/// The lines that make up the interface, in alphabetical order.
std::multiset<std::string> interfaceOf(const std::string& xml) {
    const auto begin = xml.find("<interface name=\"org.feedline.Server1\">");
    const std::string part = xml.substr(begin, xml.find("</interface>", begin) - begin);
    const std::regex entry("<(method|signal|arg|property|annotation) [^>]*[^/>]");
    std::multiset<std::string> entries;
    for (std::sregex_iterator at(part.begin(), part.end(), entry), end; at != end; ++at)
        entries.insert(at->str());
    return entries;
}

class BusControls : public ::testing::TestWithParam<Program> {
protected:
    Emulated emulated(const char* devices = "hf,airspy") const {
        return {.devices = devices, .program = GetParam()};
    }
};

INSTANTIATE_TEST_SUITE_P(Programs, BusControls,
                         ::testing::Values(Program::feedlined, Program::feedline),
                         [](const auto& program) {
                             return program.param == Program::feedline ? "feedline" : "feedlined";
                         });

TEST_P(BusControls, AreThoseOfTheInstalledDescription) {
    Controlled controlled(receiverAirspy, emulated());
    const auto offered = interfaceOf(controlled.caller.introspection());
    EXPECT_EQ(offered.size(), 26U);
    EXPECT_EQ(offered, interfaceOf(TemporaryFolder::contentOf(FEEDLINE_INTERFACE_FILE)));
}

TEST_P(BusControls, TellWhatTheWindowShows) {
    Controlled controlled(receiverHf, emulated());
    BusCaller& caller = controlled.caller;
    EXPECT_EQ(caller.text("Program"), GetParam() == Program::feedline ? "feedline" : "feedlined");
    EXPECT_EQ(caller.text("Version"), FEEDLINE_VERSION);
    EXPECT_EQ(caller.text("TcpStatus"), "TCP Server: WAITING FOR CONNECT");
    EXPECT_EQ(caller.text("RemoteAddress"), "Remote Address: NOT CONNECTED");
    EXPECT_EQ(caller.text("Running"), "AirSpyHF+ IDLE");
    EXPECT_TRUE(controlled.becomes("CenterFrequency", "Center Frequency: 1600.000 kHz"));
    EXPECT_TRUE(controlled.listeningBecomes(true));
    EXPECT_EQ(caller.lastAlert().text, "");
    EXPECT_EQ(caller.text("Port"), std::to_string(controlled.server.port()));
    EXPECT_EQ(caller.text("Address"), "127.0.0.1");
    EXPECT_THAT(caller.texts("Devices"), ElementsAre(hfTitle, airspyTitle));
    EXPECT_EQ(caller.text("Device"), hfTitle);
    EXPECT_EQ(caller.text("OpenDevice"), hfTitle);
    EXPECT_THAT(caller.texts("HeldDevices"), ElementsAre(hfTitle));

    caller.watch();
    const ControlConnection client(controlled.server.port());
    startStream(client, hfCentre);
    EXPECT_TRUE(controlled.becomes("TcpStatus", "TCP Server: CONNECTED"));
    EXPECT_TRUE(controlled.becomes("RemoteAddress", "Remote Address: 127.0.0.1"));
    EXPECT_TRUE(controlled.becomes("Running", "AirSpyHF+ RUNNING"));
    EXPECT_TRUE(controlled.becomes("CenterFrequency", "Center Frequency: 7100.000 kHz"));
    EXPECT_TRUE(caller.flag("Listening"));
    EXPECT_TRUE(waitUntil([&] {
        caller.process();
        return caller.changed() ==
               std::set<std::string>{"CenterFrequency", "RemoteAddress", "Running", "TcpStatus"};
    }));
}

TEST_P(BusControls, GainsReachTheReceiversRegisters) {
    Controlled controlled(receiverAirspy, emulated());
    BusCaller& caller = controlled.caller;
    EXPECT_EQ(caller.set("LnaGain", 14), "");
    EXPECT_EQ(controlled.gain("lna-gain"), "14");
    EXPECT_EQ(caller.set("MixerGain", 3), "");
    EXPECT_EQ(controlled.gain("mixer-gain"), "3");
    EXPECT_EQ(caller.set("VgaGain", 12), "");
    EXPECT_EQ(controlled.gain("vga-gain"), "12");
    EXPECT_EQ(caller.set("LnaAgc", true), "");
    EXPECT_EQ(controlled.gain("lna-agc"), "1");
    EXPECT_EQ(caller.set("MixerAgc", true), "");
    EXPECT_EQ(controlled.gain("mixer-agc"), "1");
    EXPECT_THAT(controlled.logged("changedGain"),
                ElementsAre("changedGain 0 0 14 0 0 0 0", "changedGain 0 0 14 3 0 0 0",
                            "changedGain 0 0 14 3 12 0 0", "changedGain 1 0 14 3 12 0 0",
                            "changedGain 1 1 14 3 12 0 0"));
    for (const char* preset : {"Linearity", "Sensitivity"}) {
        controlled.server.receiver.tell("forget airspy");
        EXPECT_EQ(caller.set(preset, 21), "");
        for (const unsigned request : {14U, 15U, 16U, 17U, 18U})
            EXPECT_EQ(controlled.server.receiver.calls("airspy", request), 1) << request;
        EXPECT_EQ(controlled.gain("lna-agc") + controlled.gain("mixer-agc"), "00");
        EXPECT_TRUE(caller.flag("LnaAgc")); // The controls stay where they are.
        EXPECT_EQ(caller.number("MixerGain"), 3);
    }
}

TEST_P(BusControls, AGainIsSentAgainThoughItsControlStandsThere) {
    Controlled controlled(receiverAirspy, emulated());
    ASSERT_EQ(controlled.caller.set("LnaGain", 5), "");
    ASSERT_EQ(controlled.caller.set("LnaAgc", true), "");
    ASSERT_EQ(controlled.caller.set("Sensitivity", 0), "");
    ASSERT_NE(controlled.gain("lna-gain"), "5");
    controlled.server.receiver.tell("forget airspy");
    EXPECT_EQ(controlled.caller.set("LnaGain", 5), "");
    EXPECT_EQ(controlled.caller.set("LnaAgc", true), "");
    EXPECT_EQ(controlled.gain("lna-gain") + controlled.gain("lna-agc"), "51");
    EXPECT_EQ(controlled.server.receiver.calls("airspy", 14), 1);
    EXPECT_EQ(controlled.server.receiver.calls("airspy", 17), 1);
}

TEST_P(BusControls, WithoutAnAirspyAGainMovesItsControlAlone) {
    Controlled controlled(receiverHf, emulated());
    controlled.server.receiver.tell("forget airspy");
    EXPECT_EQ(controlled.caller.set("LnaGain", 5), "");
    EXPECT_EQ(controlled.caller.number("LnaGain"), 5);
    EXPECT_EQ(controlled.server.receiver.calls("airspy", 14), 0);
    EXPECT_THAT(controlled.logged("changedGain"), IsEmpty());
}

TEST_P(BusControls, WhatIsOutOfRangeChangesNothing) {
    Controlled controlled(receiverAirspy, emulated());
    BusCaller& caller = controlled.caller;
    EXPECT_EQ(caller.set("LnaGain", 15),
              "org.freedesktop.DBus.Error.InvalidArgs LnaGain takes 0 to 14");
    EXPECT_THAT(caller.set("Device", "AirSpy HF+"), HasSubstr("one of: AirSpyHF+, AirSpy"));
    EXPECT_THAT(caller.set("Port", "many"), HasSubstr("Port takes"));
    EXPECT_EQ(caller.number("LnaGain"), 0);
    EXPECT_EQ(controlled.server.process.end(SIGTERM, "after the refusals"), 0);
    EXPECT_EQ(controlled.server.process.savedSettings(), controlled.server.settings);
}

TEST_P(BusControls, WhatIsWrittenIsSavedAtTheEnd) {
    Controlled controlled(receiverHf, emulated());
    BusCaller& caller = controlled.caller;
    EXPECT_EQ(caller.set("Port", "50123"), "");
    EXPECT_EQ(caller.set("Address", "127.0.0.2"), "");
    EXPECT_EQ(caller.set("Device", airspyTitle), "");
    EXPECT_EQ(caller.text("Device"), airspyTitle);
    EXPECT_EQ(caller.text("OpenDevice"), hfTitle); // Until a Restart.
    EXPECT_THAT(controlled.logged("devicePopupChange"), ElementsAre("devicePopupChange 1"));
    EXPECT_EQ(caller.call("Quit"), "");
    EXPECT_EQ(controlled.server.process.waitForExit(), 0);
    EXPECT_EQ(controlled.server.process.savedSettings(),
              (Settings{50123, receiverAirspy, "127.0.0.2"}));
}

TEST_P(BusControls, RestartOpensTheOtherReceiverUnderAClient) {
    Controlled controlled(receiverAirspy, emulated());
    BusCaller& caller = controlled.caller;
    const ControlConnection client(controlled.server.port());
    ASSERT_EQ(client.ask(askName()), nameAnswer("AirSpy"));
    ASSERT_EQ(caller.set("Device", hfTitle), "");
    EXPECT_EQ(caller.call("Restart"), "");
    EXPECT_EQ(caller.text("OpenDevice"), hfTitle);
    EXPECT_THAT(caller.texts("HeldDevices"), ElementsAre(hfTitle, airspyTitle));
    EXPECT_FALSE(caller.flag("Listening"));
    EXPECT_TRUE(client.waitForEnd());
    EXPECT_TRUE(controlled.listeningBecomes(true)); // After five seconds.
    const ControlConnection next(controlled.server.port());
    EXPECT_EQ(next.ask(askName()), nameAnswer("AirSpyHF+"));
    startStream(next, hfCentre);
    EXPECT_TRUE(controlled.server.datagrams.waitForDatagrams(100));
}

TEST_P(BusControls, RestartOfAReceiverThatIsHeldOpensNone) {
    Controlled controlled(receiverAirspy, emulated());
    const ControlConnection client(controlled.server.port());
    ASSERT_EQ(client.ask(askName()), nameAnswer("AirSpy"));
    EXPECT_EQ(controlled.caller.call("Restart"), "");
    EXPECT_EQ(controlled.caller.text("OpenDevice"), "");
    EXPECT_THAT(controlled.caller.texts("HeldDevices"), ElementsAre(airspyTitle));
    EXPECT_TRUE(controlled.listeningBecomes(true));
}

TEST_P(BusControls, RestartWithoutAClientEndsListening) {
    Controlled controlled(receiverAirspy, emulated());
    ASSERT_TRUE(controlled.listeningBecomes(true));
    EXPECT_EQ(controlled.caller.call("Restart"), "");
    EXPECT_FALSE(controlled.caller.flag("Listening"));
    EXPECT_TRUE(controlled.becomes("TcpStatus", "TCP Server: CONNECT FAILED"));
    EXPECT_FALSE(listening(controlled.server.port()));
    EXPECT_EQ(controlled.caller.call("Restart"), ""); // The line says "waiting" now.
    EXPECT_TRUE(controlled.becomes("TcpStatus", "TCP Server: WAITING FOR CONNECT"));
    EXPECT_FALSE(controlled.caller.flag("Listening"));
}

TEST_P(BusControls, APortTakesEffectWhenTheServerIsSetUpAgain) {
    Controlled controlled(receiverAirspy, emulated());
    ControlConnection client(controlled.server.port());
    ASSERT_EQ(client.ask(askSerial()), serialAnswer());
    const ReservedPort other;
    ASSERT_EQ(controlled.caller.set("Port", other.text()), "");
    client.close();
    EXPECT_TRUE(controlled.listeningBecomes(false));
    EXPECT_TRUE(controlled.becomes("TcpStatus", "TCP Server: DISCONNECTED"));
    EXPECT_TRUE(controlled.listeningBecomes(true));
    EXPECT_TRUE(listening(other.number()));
    EXPECT_FALSE(listening(controlled.server.port()));
}

TEST_P(BusControls, QuitEndsTheProgramInEveryState) {
    Controlled controlled(receiverHf, emulated());
    const ControlConnection client(controlled.server.port());
    startStream(client, hfCentre);
    ASSERT_TRUE(controlled.server.datagrams.waitForDatagrams(100));
    EXPECT_EQ(controlled.caller.call("Quit"), "");
    EXPECT_EQ(controlled.server.process.waitForExit(), 0);
    EXPECT_EQ(controlled.server.process.savedSettings(), controlled.server.settings);
}

TEST(BusControlsOfFeedlined, TellOfALaunchThatFoundNoReceiver) {
    Controlled controlled(receiverHf, {.devices = "none"});
    BusCaller& caller = controlled.caller;
    EXPECT_EQ(caller.lastAlert().text, "No AirSpyHF+ found - Is it plugged in?");
    EXPECT_GT(caller.lastAlert().time, 1600000000000000U);
    EXPECT_EQ(caller.text("TcpStatus"), "TCP Server: WAITING FOR CONNECT");
    EXPECT_FALSE(caller.flag("Listening"));
    EXPECT_EQ(caller.text("OpenDevice"), "");
    EXPECT_THAT(caller.texts("HeldDevices"), IsEmpty());
    EXPECT_EQ(caller.call("Restart"), ""); // Nothing comes of it but the alert.
    EXPECT_FALSE(caller.flag("Listening"));
}

TEST(BusControlsOfFeedlined, TellThatAnotherProgramHasThePort) {
    const ReservedPort port;
    const OwnedDescriptor other = listenOn(port.number());
    const PrivateBus bus;
    ServerProcess server({.settings = {port.number(), noReceiver, "127.0.0.1"},
                          .environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}}});
    BusCaller caller(bus.address());
    ASSERT_TRUE(caller.awaitServer());
    EXPECT_TRUE(waitUntil([&] { return caller.text("TcpStatus") == "TCP Server: BIND FAILED"; }));
    EXPECT_FALSE(caller.flag("Listening"));
    EXPECT_EQ(caller.call("Restart"), "");
    EXPECT_FALSE(caller.flag("Listening"));
    EXPECT_EQ(server.end(SIGTERM, "without its port"), 0);
}

TEST(BusControlsOfFeedline, AreThereWhileAnAlertIsShown) {
    Controlled controlled(receiverHf, {.devices = "none", .program = Program::feedline});
    BusCaller& caller = controlled.caller;
    EXPECT_EQ(caller.lastAlert().text, "No AirSpyHF+ found - Is it plugged in?");
    EXPECT_THAT(caller.call("Restart"),
                StartsWith("org.feedline.Server1.Error.AlertShown the window shows an alert"));
    EXPECT_EQ(caller.set("Address", "127.0.0.3"), "");
    EXPECT_EQ(caller.call("Quit"), "");
    EXPECT_EQ(controlled.server.process.waitForExit(), 0);
    EXPECT_EQ(controlled.server.process.savedSettings().address, "127.0.0.3");
}

TEST(BusControlsOfFeedline, RestartIsAnsweredWhenItsAlertIsShown) {
    Controlled controlled(receiverAirspy, {.devices = "airspy", .program = Program::feedline});
    ASSERT_EQ(controlled.caller.set("Device", hfTitle), "");
    EXPECT_EQ(controlled.caller.call("Restart"), "");
    EXPECT_EQ(controlled.caller.lastAlert().text, "No AirSpyHF+ found - Is it plugged in?");
    EXPECT_EQ(controlled.caller.text("TcpStatus"), "TCP Server: WAITING FOR CONNECT");
    EXPECT_THAT(controlled.caller.call("Restart"),
                StartsWith("org.feedline.Server1.Error.AlertShown"));
}

/// An AirSpy's stream, which the calls are not to disturb. It waits for a machine that is busy with
/// other tests.
struct BusControlsWhileStreaming : ::testing::Test {
    Controlled controlled{
        receiverAirspy,
        {.devices = "airspy",
         .more = {{"FEEDLINE_EMULATOR_SPEED", "0.25"}, {"FEEDLINE_EMULATOR_PATIENCE", "0"}}}};
    ControlConnection client{controlled.server.port()};

    void SetUp() override {
        startStream(client, airspyCentre);
        ASSERT_TRUE(controlled.server.datagrams.waitForDatagrams(256));
    }
    void TearDown() override {
        const auto counts = controlled.server.datagrams.counts();
        std::cout << counts.datagrams << " datagrams, " << counts.gaps << " gaps\n";
        EXPECT_EQ(counts.gaps, 0U);
        EXPECT_EQ(client.ask(askStatus()), statusAnswer(running));
    }
};

TEST_F(BusControlsWhileStreaming, ThousandsOfCallsLeaveNoGap) {
    constexpr int calls = 4000;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < calls / 4; ++i) {
        ASSERT_EQ(controlled.caller.set("LnaGain", i % 15), "");
        ASSERT_EQ(controlled.caller.number("LnaGain"), i % 15);
        ASSERT_EQ(controlled.caller.text("Running").substr(0, 9), "AirSpyHF+");
        ASSERT_TRUE(controlled.caller.flag("Listening"));
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::cout << calls << " calls in " << taken.count() << " s\n";
    EXPECT_EQ(controlled.gain("lna-gain"), std::to_string((calls / 4 - 1) % 15));
}

TEST_F(BusControlsWhileStreaming, CallsThatNobodyWaitsForAreAllAnswered) {
    // Not a call is waited for before the next, and the program goes on ticking meanwhile.
    constexpr int calls = 2000;
    for (int i = 0; i < calls; ++i)
        controlled.caller.send("Nothing");
    EXPECT_TRUE(waitUntil([this] {
        controlled.caller.process();
        return controlled.caller.answers() == calls;
    }));
    EXPECT_TRUE(controlled.becomes("TcpStatus", "TCP Server: CONNECTED"));
}

TEST_F(BusControlsWhileStreaming, TwoCallersAtOnceDoNotDisturbOneAnother) {
    constexpr int rounds = 200;
    std::thread other([&] {
        BusCaller second(controlled.bus.address());
        for (int i = 0; i < rounds; ++i) {
            EXPECT_EQ(second.set("VgaGain", i % 16), "");
            EXPECT_EQ(second.number("VgaGain"), i % 16);
        }
    });
    for (int i = 0; i < rounds; ++i) {
        EXPECT_EQ(controlled.caller.set("LnaGain", i % 15), "");
        EXPECT_EQ(controlled.caller.number("LnaGain"), i % 15);
    }
    other.join();
    EXPECT_EQ(controlled.gain("vga-gain"), std::to_string((rounds - 1) % 16));
}

TEST_F(BusControlsWhileStreaming, CallersWhoGoAwayInTheMiddleLeaveNothingBehind) {
    const int descriptors = controlled.server.process.descriptors();
    for (int i = 0; i < 50; ++i) {
        BusCaller passing(controlled.bus.address());
        for (int call = 0; call < 10; ++call)
            passing.send("Nothing");
    }
    EXPECT_EQ(controlled.caller.set("LnaGain", 7), "");
    EXPECT_EQ(controlled.gain("lna-gain"), "7");
    EXPECT_EQ(controlled.server.process.descriptors(), descriptors);
}

TEST_F(BusControlsWhileStreaming, ABusMayGoAwayAndComeBack) {
    const int descriptors = controlled.server.process.descriptors();
    for (int i = 0; i < 3; ++i) {
        controlled.bus.stop();
        ASSERT_TRUE(
            waitUntil([&] { return controlled.server.process.descriptors() < descriptors; }));
        controlled.bus.start();
        BusCaller again(controlled.bus.address());
        ASSERT_TRUE(again.awaitServer());
        EXPECT_EQ(again.set("MixerGain", i), "");
        EXPECT_EQ(controlled.gain("mixer-gain"), std::to_string(i));
    }
    EXPECT_EQ(controlled.server.process.descriptors(), descriptors);
}

TEST_F(BusControlsWhileStreaming, ABusThatKeepsSilentHoldsNothingUp) {
    kill(controlled.bus.pid(), SIGSTOP);
    const std::size_t datagrams = controlled.server.datagrams.counts().datagrams;
    EXPECT_TRUE(controlled.server.datagrams.waitForDatagrams(datagrams + 5000));
    EXPECT_EQ(client.ask(setFrequency(airspyCentre + 1000)), setFrequency(airspyCentre + 1000));
    kill(controlled.bus.pid(), SIGCONT);
    EXPECT_TRUE(controlled.becomes("CenterFrequency", "Center Frequency: 100001.000 kHz"));
}

} // namespace
} // namespace feedline::test
