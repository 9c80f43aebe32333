// SPDX-License-Identifier: MIT
// The device pop-up and the restart action, in whatever order a user may try them, with both
// receivers attached: the core and the vendors' libraries in this process, over the emulated USB.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatorControl.h"
#include "Loopback.h"
#include "MemoryServer.h"
#include "ReceivedStream.h"
#include "RecordingLog.h"
#include "ServerProcess.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <utility>

// A receiver that goes while it streams leaves threads of its library behind that nobody joins.
#ifdef __SANITIZE_THREAD__
extern "C" __attribute__((visibility("default"))) const char*
__tsan_default_options() { // NOLINT(bugprone-reserved-identifier)
    return "report_thread_leaks=0";
}
#endif

namespace feedline::test {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t hf = 0;
constexpr std::int64_t airspy = 1;

/// A running server whose clock and main thread the test turns. It and what its threads use stay
/// until the end of the process.
class Attached {
public:
    explicit Attached(std::int64_t type) {
        setenv("FEEDLINE_EMULATOR_DEVICES", "hf,airspy", 1);
        setenv("FEEDLINE_EMULATOR_CONTROL", emulator().c_str(), 1);
        server.settings.values["sdrType"] = type;
        server.settings.values["sdrPortNumber"] = std::int64_t{datagrams.port()};
        server.delegate.applicationDidFinishLaunching();
        connect();
    }

    void choose(std::int64_t type) {
        server.devicePopup.selected = type;
        server.delegate.devicePopupChange();
    }

    /// Restart cuts the client off; five seconds later there is a server again, and a client.
    void restart() {
        server.delegate.restartServer();
        ASSERT_TRUE(client_->waitForEnd());
        ASSERT_TRUE(server.mainThread.waitAndRunTasks());
        server.mainThread.advance(5s);
        connect();
    }

    void ask(const Bytes& message) { EXPECT_EQ(client_->ask(message), message); }
    void run() { ask(setState(2)); }
    void stop() { ask(setState(1)); }
    void tune() { ask(setFrequency(100000000)); }
    void moveGains() {
        for (MemoryValue* control : {&server.lnaAgc, &server.vgaGain, &server.linearity}) {
            control->value = (control->value + 3) % 15;
            server.delegate.changedGain(control);
        }
    }
    void tick() { server.mainThread.advance(1s); }

    bool streams() const { return datagrams.waitForDatagrams(datagrams.counts().datagrams + 300); }
    bool silent() const { return datagrams.waitForSilence(500ms); }

    /// Where the emulator takes commands.
    std::string emulator() const { return (folder_.path() / "emulator").string(); }

    ReceivedStream& datagrams = *new ReceivedStream;
    Server& server = Server::make();

private:
    void connect() {
        client_ = std::make_unique<ControlConnection>(datagrams.port());
        ASSERT_FALSE(client_->ask(askStatus()).empty());
    }

    TemporaryFolder folder_;
    std::unique_ptr<ControlConnection> client_;
};

TEST(Restart, FromOneReceiverToTheOther) {
    Attached attached(hf);
    attached.run();
    ASSERT_TRUE(attached.streams());
    attached.stop();
    attached.choose(airspy);
    attached.restart();
    attached.run();
    EXPECT_TRUE(attached.streams());
    attached.stop();
    EXPECT_TRUE(attached.silent());
    attached.choose(hf);
    attached.restart(); // This process holds it already, so it cannot be opened again.
    EXPECT_EQ(hfDevice.load(), nullptr);
    EXPECT_THAT(attached.server.alert.shown(),
                ::testing::ElementsAre(RecordingAlert::Shown{"Could not open AirSpyHF+", ""},
                                       RecordingAlert::Shown{"Could not open AirSpyHF+", ""}));
    attached.run();
    attached.tune();
    attached.stop();
}

TEST(Restart, ChoosingTheOtherReceiverLeavesTheStreamToItself) {
    Attached attached(hf);
    attached.run();
    ASSERT_TRUE(attached.streams());
    attached.choose(airspy);
    attached.stop(); // It goes to an AirSpy that was never opened.
    EXPECT_EQ(isStreaming.load(), 0);
    EXPECT_TRUE(attached.streams());
    attached.restart(); // Forgets the receiver, and its stream runs on.
    EXPECT_TRUE(attached.streams());
    attached.run(); // Now both stream.
    EXPECT_TRUE(attached.streams());
    attached.stop();
    attached.choose(hf);
    attached.run(); // Nothing to run any more: its handle is forgotten.
    attached.tune();
    attached.stop();
    EXPECT_TRUE(attached.streams());
}

TEST(Restart, AnAirspyThatIsOpenedAgainIsLost) {
    Attached attached(airspy);
    attached.run();
    ASSERT_TRUE(attached.streams());
    attached.restart();
    EXPECT_EQ(airspyDevice.load(), nullptr);
    EXPECT_TRUE(attached.streams());
    attached.moveGains();
    attached.tick();
    attached.stop();
    EXPECT_TRUE(attached.streams());
    EXPECT_TRUE(attached.server.alert.shown().empty());
}

/// Either receiver: its type and the emulator's name for it.
class PutBack : public ::testing::TestWithParam<std::pair<std::int64_t, const char*>> {};
INSTANTIATE_TEST_SUITE_P(Restart, PutBack,
                         ::testing::Values(std::pair{hf, "hf"}, std::pair{airspy, "airspy"}),
                         [](const auto& either) { return either.param.second; });

TEST_P(PutBack, StreamsAgainAfterARestart) {
    const auto& [type, name] = GetParam();
    Attached attached(type);
    EmulatorControl emulator(attached.emulator());
    attached.run();
    ASSERT_TRUE(attached.streams());
    emulator.tell(std::string("unplug ") + name);
    EXPECT_TRUE(attached.silent());
    attached.stop();
    emulator.tell(std::string("plug ") + name);
    attached.restart();
    EXPECT_TRUE(attached.server.alert.shown().empty());
    attached.run();
    EXPECT_TRUE(attached.streams());
    attached.stop();
    EXPECT_TRUE(attached.silent());
}

TEST(Restart, WithoutAClientEndsListening) {
    Attached attached(hf);
    attached.server.delegate.restartServer(); // Cuts the client off ...
    ASSERT_TRUE(attached.server.mainThread.waitAndRunTasks());
    attached.server.mainThread.advance(5s);
    ASSERT_TRUE(waitForLine(printed("TCPThread Waiting for incoming connections...\n"), 2));
    attached.server.delegate.restartServer(); // ... and nobody has come back.
    EXPECT_TRUE(waitUntil([] { return tcpStatus == -3; }));
    EXPECT_FALSE(listening(attached.datagrams.port()));
}

/// Any order at all; what becomes of the stream is the user's own doing.
class AnyOrder : public ::testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(Restart, AnyOrder, ::testing::Range(1U, 11U));

TEST_P(AnyOrder, NeitherCrashesNorHangs) {
    std::mt19937 generator{GetParam()};
    Attached attached(GetParam() % 2 == 0 ? hf : airspy);
    using Action = void (*)(Attached&);
    const std::vector<Action> actions{
        [](Attached& a) { a.run(); },          [](Attached& a) { a.stop(); },
        [](Attached& a) { a.tune(); },         [](Attached& a) { a.choose(hf); },
        [](Attached& a) { a.choose(airspy); }, [](Attached& a) { a.restart(); },
        [](Attached& a) { a.moveGains(); },    [](Attached& a) { a.tick(); },
    };
    std::uniform_int_distribution<std::size_t> any(0, actions.size() - 1);
    for (int i = 0; i < 40 && !HasFatalFailure(); ++i)
        actions[any(generator)](attached);
    attached.ask({0x09, 0x00, 0xB8, 0x00, 0x00, 0x00, 0xB8, 0x0B, 0x00});
}

} // namespace
} // namespace feedline::test
