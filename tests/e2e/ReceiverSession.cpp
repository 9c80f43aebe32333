// SPDX-License-Identifier: MIT
#include "ReceiverSession.h"

#include "DatagramView.h"

#include <utility>

namespace feedline::test {
namespace {

constexpr std::size_t spectrumDatagrams = 65536 / pairsPerDatagram;

Emulated unhurried(const ReceiverKind& kind, std::map<std::string, std::string> more) {
    more.insert({{"FEEDLINE_EMULATOR_SPEED", "0.25"}, {"FEEDLINE_EMULATOR_PATIENCE", "0"}});
    return {.devices = kind.device, .more = std::move(more)};
}

} // namespace

const ReceiverKind& hfKind() {
    static const ReceiverKind kind{receiverHf, "hf", "AirSpyHF+", hfRate, hfCentre, 8, 16};
    return kind;
}

const ReceiverKind& airspyKind() {
    static const ReceiverKind kind{receiverAirspy, "airspy", "AirSpy", airspyRate,
                                   airspyCentre,   256,      2};
    return kind;
}

void PrintTo(const ReceiverKind& kind, std::ostream* out) {
    *out << kind.device;
}

ReceiverSession::ReceiverSession(const ReceiverKind& which,
                                 const std::map<std::string, std::string>& more)
    : kind(which), server(which.type, unhurried(which, more)) {}

void ReceiverSession::TearDown() {
    EXPECT_TRUE(server.process.running());
    EXPECT_EQ(server.receiver.number(kind.device, "dropped"), 0) << "the receiver lost samples";
    EXPECT_EQ(server.process.end(SIGTERM, "after the test"), 0);
    EXPECT_EQ(server.process.savedSettings(), server.settings);
}

void ReceiverSession::start(const ControlConnection& client) const {
    ASSERT_EQ(client.ask(setFrequency(kind.centre)), setFrequency(kind.centre));
    ASSERT_EQ(client.ask(setState(runState)), setState(runState));
}

std::size_t ReceiverSession::delivered() {
    return static_cast<std::size_t>(server.receiver.number(kind.device, "delivered")) *
           kind.datagramsPerTransfer;
}

std::size_t ReceiverSession::settledFrom() {
    return delivered() + kind.settlingTransfers * kind.datagramsPerTransfer;
}

void ReceiverSession::expectNothingLost(std::size_t restarts) const {
    const ReceivedStream::Counts counts = server.datagrams.counts();
    EXPECT_EQ(counts.malformed, 0U);
    EXPECT_EQ(counts.lost, counts.overflowed);
    EXPECT_EQ(counts.fromZero, restarts);
    EXPECT_EQ(server.datagrams.arrivals().front().number, 0);
}

void ReceiverSession::expectCarrier(double hertz, std::size_t from) const {
    const Samples samples = server.datagrams.samples(spectrumDatagrams, from);
    ASSERT_EQ(samples.size(), 65536U);
    const Peak peak = strongestLine(samples, kind.rate);
    EXPECT_NEAR(peak.hertz, hertz, 2 * kind.rate / 65536);
    EXPECT_GE(peak.aboveFloor, 60);
    EXPECT_LT(levelAt(samples, -hertz, kind.rate), levelAt(samples, hertz, kind.rate) - 60);
}

void ReceiverSession::expectSteadyCarrier(double hertz, std::size_t from,
                                          std::size_t datagrams) const {
    const Samples samples = server.datagrams.samples(datagrams, from);
    ASSERT_EQ(samples.size(), datagrams * pairsPerDatagram);
    EXPECT_LT(worstPhaseStep(samples, hertz, kind.rate), 0.05);
}

std::vector<std::string> linesOf(const ServerProcess& process) {
    std::vector<std::string> lines = process.logLines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("iStreaming"); });
    return lines;
}

} // namespace feedline::test
