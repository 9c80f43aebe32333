// SPDX-License-Identifier: MIT
// Receivers that refuse, stall, fall silent or are pulled out: what the server says of it, and that
// it lives, answers and ends on request.
#include "ReceiverSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

/// The log's last lines.
std::vector<std::string> tail(const ServerProcess& process, std::size_t count) {
    std::vector<std::string> lines = linesOf(process);
    if (lines.size() > count)
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
    return lines;
}

void expectGoodEnd(StreamedServer& server, const std::string& moment) {
    EXPECT_TRUE(server.process.running());
    EXPECT_EQ(server.process.end(SIGTERM, moment), 0);
    EXPECT_EQ(server.process.savedSettings(), server.settings);
}

/// No server runs after a launch that failed; nothing tells that the launch is over, but its end
/// comes before the process's.
void expectNoServer(StreamedServer& server, const std::string& moment) {
    EXPECT_FALSE(listening(server.port()));
    expectGoodEnd(server, moment);
    EXPECT_EQ(server.process.output.text(), "");
    EXPECT_THAT(server.process.logLines(), Not(Contains("SetUpTcpServer")));
}

int countOf(const ServerProcess& process, const std::string& line) {
    const auto lines = process.logLines();
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

// Launch, AirSpy HF+.

TEST(HfLaunchFault, AReceiverThatAnotherProgramHasIsTwoAlerts) {
    StreamedServer server(receiverHf, {.faults = "claim hf"});
    ASSERT_TRUE(server.process.log.waitFor("ALERT: ", 2));
    expectNoServer(server, "receiver taken");
    EXPECT_THAT(tail(server.process, 3), ElementsAre("err -1", "ALERT: Could not open AirSpyHF+",
                                                     "ALERT: Could not open AirSpyHF+"));
}

// The library opens a receiver to list it, and leaves out one that it may not open.
TEST(HfLaunchFault, AReceiverThatMayNotBeOpenedIsNotFound) {
    StreamedServer server(receiverHf, {.faults = "claim hf access"});
    ASSERT_TRUE(server.process.log.waitFor("ALERT: "));
    expectNoServer(server, "no permission");
    EXPECT_THAT(tail(server.process, 2),
                ElementsAre("n 0", "ALERT: No AirSpyHF+ found - Is it plugged in?"));
}

TEST(HfLaunchFault, ARefusedSampleRateIsAnAlert) {
    StreamedServer server(receiverHf, {.faults = "fail hf request:4 io"});
    ASSERT_TRUE(server.process.log.waitFor("ALERT: "));
    expectNoServer(server, "rate refused");
    EXPECT_THAT(tail(server.process, 2), ElementsAre("airspyhf_set_samplerate err -1  ",
                                                     "ALERT: Could not set AirSpyHF+ sample rate"));
}

// The second tuning request; the first one belongs to setting the rate. Only a short transfer
// fails in this library.
TEST(HfLaunchFault, ARefusedTuningIsAnAlert) {
    StreamedServer server(receiverHf, {.faults = "fail hf request:2 2 at 2"});
    ASSERT_TRUE(server.process.log.waitFor("ALERT: "));
    expectNoServer(server, "tuning refused");
    EXPECT_THAT(tail(server.process, 2),
                ElementsAre("airspyhf_set_freq err -1  ", "ALERT: AirSpyHF+ set frequency fail"));
}

TEST(HfLaunchFault, WhatIsOnlyLoggedStopsNothing) {
    StreamedServer server(receiverHf,
                          {.faults = "fail hf request:7 io; fail hf request:9 io;"
                                     "fail hf request:5 io always; fail hf request:14 io"});
    ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    EXPECT_THAT(server.process.logLines(),
                Contains("err -1  airspyhf_board_partid_serialno_read 0 0 0 0 0"));
    EXPECT_THAT(server.process.logLines(), Contains("err -1  airspyhf_version_string_read "));
    expectGoodEnd(server, "identity unreadable");
}

TEST(HfLaunchFault, RatesThatCannotBeReadFallBackToTheLibrarysOwn) {
    StreamedServer server(receiverHf, {.faults = "fail hf request:3 io always"});
    ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    EXPECT_THAT(server.process.logLines(), Contains("err 0  numSampleRates 1"));
    EXPECT_THAT(server.process.logLines(), Contains("rate 0  768000"));
    expectGoodEnd(server, "rates unreadable");
}

TEST(HfLaunchFault, TheFirstOfTwoReceiversIsOpened) {
    StreamedServer server(receiverHf, {.devices = "hf,hf"});
    ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    EXPECT_THAT(server.process.logLines(), Contains("n 2"));
    EXPECT_EQ(server.receiver.value("hf", "claimed"), "1");
    EXPECT_EQ(server.receiver.value("hf2", "claimed"), "0");
    expectGoodEnd(server, "two receivers");
}

// Launch, AirSpy: no alert, ever.

TEST(AirspyLaunchFault, AReceiverThatAnotherProgramHasIsLoggedOnly) {
    StreamedServer server(receiverAirspy, {.devices = "airspy", .faults = "claim airspy"});
    ASSERT_TRUE(server.process.log.waitFor("err -5\n"));
    expectNoServer(server, "receiver taken");
    EXPECT_THAT(server.process.log.text(), Not(::testing::HasSubstr("ALERT")));
}

TEST(AirspyLaunchFault, ABiasSupplyThatStaysOnKeepsTheServerAway) {
    StreamedServer server(receiverAirspy,
                          {.devices = "airspy", .faults = "fail airspy request:21 io"});
    ASSERT_TRUE(server.process.log.waitFor("airspy_set_rf_bias err "));
    expectNoServer(server, "bias supply");
    EXPECT_THAT(tail(server.process, 1), ElementsAre("airspy_set_rf_bias err -1000  "));
}

TEST(AirspyLaunchFault, WhatIsOnlyLoggedStopsNothing) {
    StreamedServer server(receiverAirspy,
                          {.devices = "airspy",
                           .faults = "fail airspy request:11 io; fail airspy request:10 io;"
                                     "fail airspy request:12 io; fail airspy request:26 io at 2"});
    ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    const auto lines = server.process.logLines();
    EXPECT_THAT(lines, Contains("airspy_set_samplerate err -1000  "));
    EXPECT_THAT(lines, Contains("err -1000  airspy_board_partid_serialno_read 0 0 0 0 0 0"));
    EXPECT_THAT(lines, Contains("err -1000  airspy_version_string_read "));
    EXPECT_THAT(lines, Contains("airspy_set_packing err -1000  "));
    expectGoodEnd(server, "only logged");
}

TEST(AirspyLaunchFault, AReceiverWithASingleRateServes) {
    StreamedServer server(
        receiverAirspy,
        {.devices = "airspy", .more = {{"FEEDLINE_EMULATOR_RATES_AIRSPY", "3000000"}}});
    ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    EXPECT_THAT(server.process.logLines(), Contains("err 0  numSampleRates 1"));
    expectGoodEnd(server, "single rate");
}

// What a client meets, with either receiver.

/// What a receiver's failures look like from outside.
struct Failing {
    const ReceiverKind& kind;
    const char* startError; ///< the log line of a refused start or stop
    const char* tuningError;
    const char* tuningRequest;
    const char* refusal; ///< of a tuning: its result on the USB
    const char* alert;
};
void PrintTo(const Failing& failing, std::ostream* out) {
    *out << failing.kind.device;
}

const Failing failingHf{hfKind(),
                        "airspyhf_start err -1  ",
                        "airspyhf_set_freq err -1  ",
                        "request:2",
                        "2",
                        "ALERT: AirSpyHF+ set frequency fail"};
const Failing failingAirspy{
    airspyKind(), "airspyhf_start err -1000  ",      "airspy_set_freq err -1000  ", "request:13",
    "io",         "ALERT: AirSpy set frequency fail"};

class FailingReceiver : public ::testing::Test {
protected:
    explicit FailingReceiver(const Failing& failing) : fault(failing) {}

    void command(const std::string& verb, const std::string& rest = "") {
        server.receiver.tell(verb + " " + device + (rest.empty() ? "" : " " + rest));
    }
    void run(const ControlConnection& client) const {
        ASSERT_EQ(client.ask(setFrequency(centre)), setFrequency(centre));
        ASSERT_EQ(client.ask(setState(runState)), setState(runState));
    }
    static void stop(const ControlConnection& client) {
        EXPECT_EQ(client.ask(setState(stopState)), setState(stopState));
    }
    bool waitForMore() const {
        return server.datagrams.waitForDatagrams(server.datagrams.counts().datagrams + 300);
    }
    void expectStream(const ControlConnection& client) const {
        run(client);
        ASSERT_TRUE(waitForMore());
    }
    bool startWasRefused() const { return tail(server.process, 1).front() == fault.startError; }
    void expectAnswers(const ControlConnection& client, std::uint8_t status) const {
        EXPECT_EQ(client.ask(askStatus()), statusAnswer(status));
    }
    void expectNoGap() const {
        const ReceivedStream::Counts counts = server.datagrams.counts();
        EXPECT_EQ(counts.lost, counts.overflowed);
        EXPECT_EQ(counts.fromZero + counts.malformed, 0U);
    }

    const Failing& fault;
    const std::string device = fault.kind.device;
    const std::uint32_t centre = fault.kind.centre;
    StreamedServer server{fault.kind.type, {.devices = device, .fails = true}};
};

struct ReceiverFault : FailingReceiver, ::testing::WithParamInterface<Failing> {
    ReceiverFault() : FailingReceiver(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(Either, ReceiverFault, ::testing::Values(failingHf, failingAirspy),
                         [](const auto& info) { return std::string(info.param.kind.device); });

TEST_P(ReceiverFault, ARefusedStartIsLoggedAndSaysRunning) {
    ControlConnection client(server.port());
    command("fail", "request:1 io");
    run(client);
    EXPECT_EQ(tail(server.process, 1).front(), fault.startError);
    expectAnswers(client, running);
    // Stopped and asked once more, it obeys.
    stop(client);
    expectStream(client);
    expectGoodEnd(server, "after a refused start");
}

TEST_P(ReceiverFault, ARefusedStopIsLoggedAndSaysIdle) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("fail", "request:1 io always");
    stop(client);
    EXPECT_EQ(tail(server.process, 1).front(), fault.startError);
    expectAnswers(client, idle);
    expectGoodEnd(server, "after a refused stop");
}

TEST_P(ReceiverFault, ARefusedTuningIsAnAlertAndTheSameAnswer) {
    ControlConnection client(server.port());
    ASSERT_EQ(client.ask(askStatus()), statusAnswer(idle));
    command("fail", std::string(fault.tuningRequest) + " " + fault.refusal);
    EXPECT_EQ(client.ask(setFrequency(centre + 1000000)), setFrequency(centre + 1000000));
    EXPECT_THAT(tail(server.process, 2), ElementsAre(fault.tuningError, fault.alert));
    EXPECT_EQ(client.ask(setFrequency(centre)), setFrequency(centre));
    EXPECT_EQ(countOf(server.process, fault.alert), 1);
    expectGoodEnd(server, "after a refused tuning");
}

TEST_P(ReceiverFault, PulledOutWhileIdle) {
    ControlConnection client(server.port());
    expectAnswers(client, idle);
    command("unplug");
    EXPECT_EQ(client.ask(setState(runState)), setState(runState));
    EXPECT_EQ(tail(server.process, 1).front(), fault.startError);
    expectAnswers(client, running);
    stop(client);
    EXPECT_EQ(client.ask(setFrequency(centre)), setFrequency(centre));
    command("plug");
    EXPECT_EQ(client.ask(setState(runState)), setState(runState));
    stop(client);
    expectGoodEnd(server, "pulled out while idle");
}

TEST_P(ReceiverFault, PulledOutWhileStreaming) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("unplug");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    command("plug");
    stop(client);
    expectAnswers(client, idle);
    EXPECT_EQ(client.ask(setState(runState)), setState(runState));
    expectAnswers(client, running);
    expectNoGap();
    expectGoodEnd(server, "pulled out while streaming");
}

TEST_P(ReceiverFault, PulledOutAndEndedAtOnce) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("unplug");
    expectGoodEnd(server, "just pulled out");
}

// The start waits for the receiver's answer when it goes.
TEST_P(ReceiverFault, PulledOutWhileStarting) {
    ControlConnection client(server.port());
    expectAnswers(client, idle);
    command("forget");
    command("hang", "request:1");
    ASSERT_TRUE(client.send(setState(runState)));
    EmulatorControl::until([&] { return server.receiver.calls(device, 1) == 1; }, "the request");
    command("unplug");
    EXPECT_EQ(client.receive(), setState(runState));
    EXPECT_EQ(tail(server.process, 1).front(), fault.startError);
    expectAnswers(client, running);
    stop(client);
    expectAnswers(client, idle);
    expectGoodEnd(server, "pulled out while starting");
}

TEST_P(ReceiverFault, ARequestOfTenSecondsHoldsItsClientAndNothingElse) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("delay", std::string(fault.tuningRequest) + " 10000");
    const std::uint32_t elsewhere = centre + 1000000;
    ASSERT_TRUE(client.send(setFrequency(elsewhere)));
    EXPECT_FALSE(client.hasInput(1s));
    EXPECT_TRUE(waitForMore()) << "the stream stood still";
    EXPECT_EQ(client.receive(), setFrequency(elsewhere));
    expectNoGap();
    expectGoodEnd(server, "after a slow request");
}

// The moment between the stop's first step and its last.
TEST_P(ReceiverFault, PulledOutWhileStopping) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("hang", "request:1");
    ASSERT_TRUE(client.send(setState(stopState)));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    command("unplug");
    EXPECT_EQ(client.receive(), setState(stopState));
    EXPECT_EQ(tail(server.process, 1).front(), fault.startError);
    expectAnswers(client, idle);
    expectGoodEnd(server, "pulled out while stopping");
}

TEST_P(ReceiverFault, AStallEndsTheStreamAndNothingElse) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("fail", "transfer stall always");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    command("reset");
    stop(client);
    EXPECT_EQ(client.ask(setState(runState)), setState(runState));
    EXPECT_TRUE(waitForMore());
    expectNoGap();
    expectGoodEnd(server, "after a stall");
}

/// One transfer of a stream fails with this result.
struct FailedTransfer : FailingReceiver,
                        ::testing::WithParamInterface<std::tuple<Failing, const char*>> {
    FailedTransfer() : FailingReceiver(std::get<0>(GetParam())) {}
};
INSTANTIATE_TEST_SUITE_P(Either, FailedTransfer,
                         ::testing::Combine(::testing::Values(failingHf, failingAirspy),
                                            ::testing::Values("error", "timeout", "short:0",
                                                              "short:2", "short:5000")),
                         [](const auto& info) {
                             std::string name = std::get<0>(info.param).kind.device;
                             name += "_" + std::string(std::get<1>(info.param));
                             std::replace(name.begin(), name.end(), ':', '_');
                             return name;
                         });

// It ends the stream in either library; stopped and started again, the receiver streams on.
TEST_P(FailedTransfer, EndsTheStreamUntilTheNextStart) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("fail", std::string("transfer ") + std::get<1>(GetParam()));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    stop(client);
    expectAnswers(client, idle);
    EXPECT_EQ(client.ask(setState(runState)), setState(runState));
    EXPECT_EQ(tail(server.process, 1).front(), "airspyhf_start err 0  ");
    expectAnswers(client, running);
    EXPECT_TRUE(waitForMore());
    expectNoGap();
    expectGoodEnd(server, "after a failed transfer");
}

// Refused start, refused tuning, a stall, a failed transfer and a client that vanishes: the next
// client has the receiver to itself as if nothing had been.
TEST_P(ReceiverFault, FiveInARowLeaveAServerThatServes) {
    ControlConnection client(server.port());
    expectAnswers(client, idle);
    command("fail", "request:1 io");
    run(client);
    EXPECT_EQ(tail(server.process, 1).front(), fault.startError);
    stop(client);
    expectStream(client);
    command("fail", std::string(fault.tuningRequest) + " " + fault.refusal);
    EXPECT_EQ(client.ask(setFrequency(centre + 1000000)), setFrequency(centre + 1000000));
    EXPECT_EQ(countOf(server.process, fault.alert), 1);
    for (const char* how : {"transfer stall always", "transfer error"}) {
        command("fail", how);
        EXPECT_TRUE(server.datagrams.waitForSilence(500ms)) << how;
        command("reset");
        stop(client);
        expectStream(client);
    }
    client.reset();
    ASSERT_TRUE(server.process.output.waitFor("Waiting for incoming connections...\n", 2));
    const ControlConnection next(server.port());
    expectAnswers(next, running); // Nobody has stopped it.
    EXPECT_TRUE(waitForMore());
    const ReceivedStream::Counts counts = server.datagrams.counts();
    EXPECT_EQ(counts.lost, counts.overflowed);
    EXPECT_EQ(counts.malformed, 0U);
    expectGoodEnd(server, "after five failures");
}

// A failed transfer leaves libairspyhf's consumer thread waiting, the next start adds a second one,
// and a stop wakes one of the two and waits for the other, perhaps for ever. The program ends all
// the same, so that whoever watches it can start it anew.
TEST_P(ReceiverFault, StopsThatNeverReturnDoNotHoldUpTheEnd) {
    const ControlConnection client(server.port());
    for (int round = 0; round < 8; ++round) {
        expectStream(client);
        command("fail", "transfer error");
        EXPECT_TRUE(server.datagrams.waitForSilence(200ms));
        stop(client);
        expectStream(client);
        ASSERT_TRUE(client.send(setState(stopState)));
        if (!client.hasInput(2s))
            break;
        EXPECT_EQ(client.receive(), setState(stopState));
    }
    expectGoodEnd(server, "after failed transfers and stops in a row");
}

TEST_P(ReceiverFault, ASilentReceiverGoesOnWhereItLeftOff) {
    const ControlConnection client(server.port());
    expectStream(client);
    command("silence");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    command("resume");
    EXPECT_TRUE(waitForMore());
    expectNoGap();
    expectGoodEnd(server, "after silence");
}

} // namespace
} // namespace feedline::test
