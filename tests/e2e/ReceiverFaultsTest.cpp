// Receivers that refuse, stall, fall silent or are pulled out: what the server says of it, and that
// it lives, answers and ends on request.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

/// The log's last lines.
std::vector<std::string> tail(const ServerProcess& process, std::size_t count) {
    std::vector<std::string> lines = process.logLines();
    std::erase_if(lines, [](const std::string& line) { return line.rfind("iStreaming", 0) == 0; });
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

void run(const ControlConnection& client, std::uint32_t hertz) {
    ASSERT_EQ(client.ask(setFrequency(hertz)), setFrequency(hertz));
    ASSERT_EQ(client.ask(setState(2)), setState(2));
}

/// As many as so many lines, since other tests look at the whole of it.
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

struct Kind {
    int type;
    const char* device;
    std::uint32_t centre;
    const char* error;  ///< of a refused start or stop
    const char* tuning; ///< the log line of a refused tuning
    const char* tuningRequest;
    const char* refused; ///< the fault that refuses a tuning
    const char* alert;
};
void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.device;
}

const Kind hfKind{receiverHf,
                  "hf",
                  hfCentre,
                  "airspyhf_start err -1  ",
                  "airspyhf_set_freq err -1  ",
                  "request:2",
                  "fail hf request:2 2",
                  "ALERT: AirSpyHF+ set frequency fail"};
const Kind airspyKind{receiverAirspy,
                      "airspy",
                      airspyCentre,
                      "airspyhf_start err -1000  ",
                      "airspy_set_freq err -1000  ",
                      "request:13",
                      "fail airspy request:13 io",
                      "ALERT: AirSpy set frequency fail"};

struct ReceiverFault : ::testing::TestWithParam<Kind> {
    const Kind kind = GetParam();
    const std::string device = kind.device;
    StreamedServer server{kind.type, {.devices = device, .fails = true}};

    void command(const std::string& verb, const std::string& rest = "") {
        server.receiver.tell(verb + " " + device + (rest.empty() ? "" : " " + rest));
    }
    bool waitForMore() const {
        return server.datagrams.waitForDatagrams(server.datagrams.counts().datagrams + 300);
    }
    /// The libraries may refuse a start or two after a failed transfer.
    bool restartUntilItRuns(const ControlConnection& client) const {
        for (int attempt = 1; attempt <= 5; ++attempt) {
            EXPECT_EQ(client.ask(setState(1)), setState(1));
            EXPECT_EQ(client.ask(setState(2)), setState(2));
            if (tail(server.process, 1).front() == "airspyhf_start err 0  ")
                return true;
        }
        return false;
    }
    void expectAnswers(const ControlConnection& client, std::uint8_t status) const {
        EXPECT_EQ(client.ask(askStatus()), statusAnswer(status));
    }
};
INSTANTIATE_TEST_SUITE_P(Either, ReceiverFault, ::testing::Values(hfKind, airspyKind),
                         [](const auto& info) { return std::string(info.param.device); });

TEST_P(ReceiverFault, ARefusedStartIsLoggedAndSaysRunning) {
    ControlConnection client(server.port());
    command("fail", "request:1 io");
    run(client, kind.centre);
    EXPECT_EQ(tail(server.process, 1).front(), kind.error);
    expectAnswers(client, running);
    // Stopped and asked once more, it obeys.
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    run(client, kind.centre);
    EXPECT_TRUE(waitForMore());
    expectGoodEnd(server, "after a refused start");
}

TEST_P(ReceiverFault, ARefusedStopIsLoggedAndSaysIdle) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("fail", "request:1 io always");
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    EXPECT_EQ(tail(server.process, 1).front(), kind.error);
    expectAnswers(client, idle);
    expectGoodEnd(server, "after a refused stop");
}

TEST_P(ReceiverFault, ARefusedTuningIsAnAlertAndTheSameAnswer) {
    ControlConnection client(server.port());
    ASSERT_EQ(client.ask(askStatus()), statusAnswer(idle));
    command("fail", std::string(kind.refused).substr(6 + device.size()));
    EXPECT_EQ(client.ask(setFrequency(kind.centre + 1000000)), setFrequency(kind.centre + 1000000));
    EXPECT_THAT(tail(server.process, 2), ElementsAre(kind.tuning, kind.alert));
    EXPECT_EQ(client.ask(setFrequency(kind.centre)), setFrequency(kind.centre));
    EXPECT_EQ(countOf(server.process, kind.alert), 1);
    expectGoodEnd(server, "after a refused tuning");
}

TEST_P(ReceiverFault, PulledOutWhileIdle) {
    ControlConnection client(server.port());
    expectAnswers(client, idle);
    command("unplug");
    EXPECT_EQ(client.ask(setState(2)), setState(2));
    EXPECT_EQ(tail(server.process, 1).front(), kind.error);
    expectAnswers(client, running);
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    EXPECT_EQ(client.ask(setFrequency(kind.centre)), setFrequency(kind.centre));
    command("plug");
    EXPECT_EQ(client.ask(setState(2)), setState(2));
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    expectGoodEnd(server, "pulled out while idle");
}

TEST_P(ReceiverFault, PulledOutWhileStreaming) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("unplug");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    command("plug");
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    expectAnswers(client, idle);
    EXPECT_EQ(client.ask(setState(2)), setState(2));
    expectAnswers(client, running);
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    expectGoodEnd(server, "pulled out while streaming");
}

TEST_P(ReceiverFault, PulledOutAndEndedAtOnce) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("unplug");
    expectGoodEnd(server, "just pulled out");
}

// The start waits for the receiver's answer when it goes.
TEST_P(ReceiverFault, PulledOutWhileStarting) {
    ControlConnection client(server.port());
    expectAnswers(client, idle);
    command("forget");
    command("hang", "request:1");
    ASSERT_TRUE(client.send(setState(2)));
    server.receiver.until([&] { return server.receiver.calls(device, 1) == 1; }, "the request");
    command("unplug");
    EXPECT_EQ(client.receive(), setState(2));
    EXPECT_EQ(tail(server.process, 1).front(), kind.error);
    expectAnswers(client, running);
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    expectAnswers(client, idle);
    expectGoodEnd(server, "pulled out while starting");
}

TEST_P(ReceiverFault, ARequestOfTenSecondsHoldsItsClientAndNothingElse) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("delay", std::string(kind.tuningRequest) + " 10000");
    const std::uint32_t elsewhere = kind.centre + 1000000;
    ASSERT_TRUE(client.send(setFrequency(elsewhere)));
    EXPECT_FALSE(client.hasInput(1s));
    EXPECT_TRUE(waitForMore()) << "the stream stood still";
    EXPECT_EQ(client.receive(), setFrequency(elsewhere));
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    expectGoodEnd(server, "after a slow request");
}

// The moment between the stop's first step and its last.
TEST_P(ReceiverFault, PulledOutWhileStopping) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("hang", "request:1");
    ASSERT_TRUE(client.send(setState(1)));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    command("unplug");
    EXPECT_EQ(client.receive(), setState(1));
    EXPECT_EQ(tail(server.process, 1).front(), kind.error);
    expectAnswers(client, idle);
    expectGoodEnd(server, "pulled out while stopping");
}

TEST_P(ReceiverFault, AStallEndsTheStreamAndNothingElse) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("fail", "transfer stall always");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    command("reset");
    EXPECT_EQ(client.ask(setState(1)), setState(1));
    EXPECT_EQ(client.ask(setState(2)), setState(2));
    EXPECT_TRUE(waitForMore());
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    expectGoodEnd(server, "after a stall");
}

// One transfer that fails ends the stream in either library. libairspy can then start anew;
// libairspyhf may refuse to for ever, with its other transfers still under way, or be left with two
// threads that deliver at once. The server stays whole all the same.
TEST_P(ReceiverFault, ASingleTransferThatFails) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    for (const char* result : {"error", "timeout", "short:0", "short:2", "short:5000"}) {
        ASSERT_TRUE(waitForMore());
        command("fail", std::string("transfer ") + result);
        EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
        expectAnswers(client, running);
        const bool restarted = restartUntilItRuns(client);
        expectAnswers(client, running);
        EXPECT_TRUE(restarted || kind.type == receiverHf);
        if (!restarted)
            break;
    }
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    EXPECT_EQ(server.datagrams.counts().malformed, 0U);
    expectGoodEnd(server, "after failed transfers");
}

TEST_P(ReceiverFault, ASilentReceiverGoesOnWhereItLeftOff) {
    ControlConnection client(server.port());
    run(client, kind.centre);
    ASSERT_TRUE(waitForMore());
    command("silence");
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    expectAnswers(client, running);
    command("resume");
    EXPECT_TRUE(waitForMore());
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    expectGoodEnd(server, "after silence");
}

} // namespace
} // namespace feedline::test
