// SPDX-License-Identifier: MIT
// feedlinectl and the real server, over a message bus of the test's own.
#include "BusCaller.h"
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "CtlProcess.h"
#include "EmulatedServer.h"
#include "PrivateBus.h"
#include "Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <optional>

namespace feedline::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct Outcome {
    int status;
    std::string out;
    std::string error;
};

class CtlProgram : public ::testing::Test {
protected:
    PrivateBus bus;
    std::optional<EmulatedServer> server;

    void startServer(int type = receiverAirspy, const char* devices = "hf,airspy",
                     const char* variable = "DBUS_SESSION_BUS_ADDRESS") {
        Emulated emulated{.devices = devices, .more = {{variable, bus.address()}}};
        if (std::string(variable) == "DBUS_SYSTEM_BUS_ADDRESS")
            emulated.more["DBUS_STARTER_BUS_TYPE"] = "system";
        server.emplace(type, emulated);
        BusCaller caller(bus.address());
        ASSERT_TRUE(caller.awaitServer());
        ASSERT_TRUE(waitUntil([&] { return caller.flag("Listening") || devices[0] == 'n'; }));
    }

    static Outcome runOn(const CtlProcess::Buses& buses,
                         const std::vector<std::string>& arguments) {
        CtlProcess process(buses, arguments);
        const int status = process.wait();
        const std::string error = process.error.text();
        EXPECT_LE(occurrences("\n", error), 1) << "one line: " << error;
        return {status, process.out.text(), error};
    }
    Outcome run(const std::vector<std::string>& arguments) const {
        return runOn({.session = bus.address()}, arguments);
    }
    nlohmann::json status() const { return nlohmann::json::parse(run({"status", "--json"}).out); }
    bool statusBecomes(const char* key, const nlohmann::json& value) const {
        return waitUntil([&] { return status()[key] == value; });
    }
    std::string gain(const char* name) { return server->receiver.value("airspy", name); }
};

TEST_F(CtlProgram, ShowsTheStatus) {
    startServer();
    const Outcome screen = run({"status"});
    EXPECT_EQ(screen.status, 0);
    EXPECT_THAT(screen.out, StartsWith("feedlined " FEEDLINE_VERSION " on the session bus\n"
                                       "TCP Server: WAITING FOR CONNECT\n"));
    EXPECT_THAT(screen.out, HasSubstr("Listening     yes\nDevice        AirSpy (open)\n"));
    const auto json = status();
    EXPECT_EQ(json["port"], std::to_string(server->port()));
    EXPECT_EQ(json["held_devices"], nlohmann::json::array({"AirSpy"}));
}

TEST_F(CtlProgram, SetsGainsDownToTheReceiver) {
    startServer();
    EXPECT_EQ(run({"gain", "lna", "14"}).out, "LNA 14. Sent to the AirSpy.\n");
    EXPECT_EQ(gain("lna-gain"), "14");
    EXPECT_EQ(run({"gain", "mixer-agc", "on"}).out, "Mixer AGC on. Sent to the AirSpy.\n");
    EXPECT_EQ(gain("mixer-agc"), "1");
    EXPECT_EQ(run({"gain", "sensitivity", "0"}).out,
              "Sensitivity 0. Sent to the AirSpy. A preset sets all three gains and switches both "
              "AGCs off in the receiver.\n");
    EXPECT_EQ(gain("mixer-agc"), "0");
    EXPECT_EQ(status()["gains"]["mixer_agc"], true);
}

TEST_F(CtlProgram, SaysThatNoReceiverHasHeardOfAGain) {
    startServer(receiverHf);
    EXPECT_EQ(run({"gain", "vga", "3"}).out,
              "VGA 3. No AirSpy is open: only the control has moved.\n");
}

TEST_F(CtlProgram, WritesTheFieldsAndSaysWhenTheyTakeEffect) {
    startServer();
    EXPECT_EQ(run({"set", "port", "50001"}).out,
              "Port 50001. Takes effect 5 s after a client has gone, or at the next start.\n");
    EXPECT_EQ(run({"set", "address", "127.0.0.9"}).out,
              "UDP address 127.0.0.9. Takes effect at the next start of Feedline.\n");
    EXPECT_EQ(run({"set", "device", "hf"}).out, "Device AirSpyHF+. Takes effect at Restart.\n");
    const Outcome bad = run({"set", "device", "radio"});
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.error, "feedlinectl: 'radio': the device is hf or airspy\n");
    EXPECT_EQ(server->process.end(SIGTERM, "after the settings"), 0);
    EXPECT_EQ(server->process.savedSettings(), (Settings{50001, receiverHf, "127.0.0.9"}));
}

TEST_F(CtlProgram, RefusesARestartThatWouldEndListening) {
    startServer();
    const Outcome refused = run({"restart"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.error, AllOf(HasSubstr("no client is connected"),
                                     HasSubstr("systemctl --user restart feedlined")));
    EXPECT_EQ(status()["listening"], true);
    const Outcome forced = run({"restart", "--force"});
    EXPECT_EQ(forced.status, 0);
    EXPECT_THAT(forced.out, AllOf(StartsWith("Restarted: nothing listens now."),
                                  EndsWith("systemctl --user restart feedlined\n")));
    EXPECT_EQ(status()["listening"], false);
    EXPECT_THAT(run({"restart"}).error, HasSubstr("nothing listens, and Restart alone"));
}

TEST_F(CtlProgram, RestartsUnderAClientForTheOtherReceiver) {
    startServer();
    const ControlConnection client(server->port());
    ASSERT_TRUE(statusBecomes("tcp_status", "TCP Server: CONNECTED"));
    const Outcome held = run({"restart"});
    EXPECT_EQ(held.status, 1);
    EXPECT_THAT(held.error, HasSubstr("the server holds the AirSpy already"));
    ASSERT_EQ(run({"set", "device", "hf"}).status, 0);
    const Outcome done = run({"restart"});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.out, "Restarted: AirSpyHF+ is open, the client is cut off, the server is back "
                        "after five seconds.\n");
    EXPECT_TRUE(client.waitForEnd());
    EXPECT_EQ(run({"idle"}).status, 1); // It comes back.
    const ControlConnection next(server->port());
    EXPECT_EQ(next.ask(askName()), nameAnswer("AirSpyHF+"));
}

TEST_F(CtlProgram, ARestartTellsOfItsAlert) {
    startServer(receiverAirspy, "airspy");
    const ControlConnection client(server->port());
    ASSERT_TRUE(statusBecomes("tcp_status", "TCP Server: CONNECTED"));
    ASSERT_EQ(run({"set", "device", "hf"}).status, 0);
    EXPECT_THAT(
        run({"restart"}).out,
        StartsWith("Alert: No AirSpyHF+ found - Is it plugged in?\nRestarted: no receiver"));
}

TEST_F(CtlProgram, QuitEndsTheServerAndSaysThatItStaysDown) {
    startServer();
    const Outcome done = run({"quit"});
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.out, "feedlined has ended, its settings are saved. It stays down until: "
                        "systemctl --user start feedlined\n");
    EXPECT_EQ(server->process.waitForExit(), 0);
}

TEST_F(CtlProgram, IdleTellsTheServerThatListensFromTheOneThatDoesNot) {
    startServer();
    EXPECT_EQ(run({"idle"}).status, 1);
    ASSERT_EQ(run({"restart", "--force"}).status, 0);
    const Outcome idle = run({"idle"});
    EXPECT_EQ(idle.status, 0);
    EXPECT_EQ(idle.out + idle.error, "");
}

TEST_F(CtlProgram, IdleIsTheServerThatFoundNoReceiver) {
    startServer(receiverHf, "none");
    EXPECT_EQ(run({"idle"}).status, 0);
    EXPECT_EQ(status()["last_alert"]["text"], "No AirSpyHF+ found - Is it plugged in?");
}

TEST_F(CtlProgram, WatchShowsEveryChangeAndWaitsForAServerThatHasGone) {
    startServer();
    CtlProcess watching({.session = bus.address()}, {"status", "--json", "--watch"});
    ASSERT_TRUE(watching.out.waitFor("\"lna\":0"));
    ASSERT_EQ(run({"gain", "lna", "5"}).status, 0);
    EXPECT_TRUE(watching.out.waitFor("\"lna\":5"));
    server.reset();
    EXPECT_TRUE(watching.error.waitFor("feedlinectl: the server has gone; waiting for it\n"));
    startServer();
    EXPECT_TRUE(watching.out.waitFor("\"lna\":0", 2));
    bus.stop();
    EXPECT_TRUE(watching.error.waitFor("waiting for it\n", 2));
    bus.start();
    EXPECT_TRUE(watching.out.waitFor("\"lna\":0", 3));
}

TEST_F(CtlProgram, SaysWhatIsMissing) {
    const PrivateBus empty;
    const CtlProcess::Buses none;
    const CtlProcess::Buses session{.session = empty.address()};
    const CtlProcess::Buses both{.session = empty.address(), .system = bus.address()};
    const CtlProcess::Buses system{.system = empty.address()};
    EXPECT_EQ(runOn(none, {"status"}).error,
              "feedlinectl: neither a session bus nor a system bus here\n");
    EXPECT_EQ(runOn(none, {"--user", "status"}).error, "feedlinectl: no session bus here\n");
    EXPECT_EQ(runOn(none, {"--system", "status"}).error, "feedlinectl: no system bus here\n");
    EXPECT_EQ(runOn(session, {"status"}).error,
              "feedlinectl: no server on the session bus, and no system bus here\n");
    EXPECT_EQ(runOn(system, {"status"}).error,
              "feedlinectl: no session bus here, and no server on the system bus\n");
    EXPECT_EQ(runOn(both, {"status"}).error,
              "feedlinectl: no server on the session bus or the system bus\n");
    EXPECT_EQ(runOn(both, {"--user", "quit"}).error, "feedlinectl: no server on the session bus\n");
    EXPECT_EQ(runOn(both, {"gain", "lna", "1"}).status, 3);
}

TEST_F(CtlProgram, FindsTheServerOfTheSystemBus) {
    startServer(receiverAirspy, "airspy", "DBUS_SYSTEM_BUS_ADDRESS");
    const PrivateBus empty;
    const CtlProcess::Buses buses{.session = empty.address(), .system = bus.address()};
    const auto json = nlohmann::json::parse(runOn(buses, {"status", "--json"}).out);
    EXPECT_EQ(json["bus"], "system");
    EXPECT_THAT(runOn(buses, {"restart"}).error, HasSubstr("sudo systemctl restart feedlined"));
    EXPECT_EQ(runOn(buses, {"--user", "status"}).status, 3);
}

TEST_F(CtlProgram, WaitsForAServerAsLongAsItIsTold) {
    CtlProcess waiting({.session = bus.address()}, {"--wait", "60", "status", "--json"});
    startServer();
    EXPECT_EQ(waiting.wait(), 0);
    EXPECT_THAT(waiting.out.text(), HasSubstr("\"feedlined\""));
}

TEST_F(CtlProgram, GivesUpOnAServerAndABusThatKeepSilent) {
    startServer();
    kill(server->process.pid(), SIGSTOP);
    const Outcome silent = run({"status"});
    EXPECT_EQ(silent.status, 4);
    EXPECT_EQ(silent.error, "feedlinectl: the server does not answer\n");
    kill(server->process.pid(), SIGCONT);
    kill(bus.pid(), SIGSTOP);
    EXPECT_EQ(run({"status"}).status, 3);
    kill(bus.pid(), SIGCONT);
    EXPECT_EQ(run({"status"}).status, 0);
}

} // namespace
} // namespace feedline::test
