// A whole session over the emulated AirSpy HF+, from the first request to the next client.
#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"
#include "Spectrum.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <regex>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::MatchesRegex;

constexpr std::size_t spectrumDatagrams = 65536 / 256;
constexpr double binWidth = hfRate / 65536;
/// Samples lost to an instrumented program's slowness smear a line.
constexpr double tolerance = sanitized ? 1000 : 2 * binWidth;

struct HfServer : ::testing::Test {
    StreamedServer server{receiverHf};

    void TearDown() override {
        EXPECT_TRUE(server.process.running());
        EXPECT_EQ(server.process.end(SIGTERM, "after the test"), 0);
        EXPECT_EQ(server.process.savedSettings(), server.settings);
        EXPECT_EQ(server.datagrams.counts().malformed, 0U);
    }

    static void startStream(const ControlConnection& client) {
        ASSERT_EQ(client.ask(setFrequency(hfCentre)), setFrequency(hfCentre));
        ASSERT_EQ(client.ask(setState(2)), setState(2));
    }

    /// Samples that were on their way when the receiver was retuned may be in the first spectra.
    Peak peakSoonAt(double hertz) const {
        Peak peak{};
        for (int attempt = 0; attempt < 50; ++attempt) {
            peak = strongestLine(server.datagrams.nextSamples(spectrumDatagrams), hfRate);
            if (std::abs(peak.hertz - hertz) < tolerance)
                break;
        }
        return peak;
    }
};

TEST_F(HfServer, SaysWhatItIs) {
    ControlConnection client(server.port());
    EXPECT_THAT(client.ask(askName()),
                ElementsAre(0x0E, 0, 0x01, 0, 'A', 'i', 'r', 'S', 'p', 'y', 'H', 'F', '+', 0));
    EXPECT_THAT(client.ask(askSerial()),
                ElementsAre(0x0E, 0, 0x02, 0, '1', '2', '3', '4', '5', '6', '7', '8', '9', 0));
    EXPECT_THAT(client.ask(askItem4()), ElementsAre(0x06, 0, 0x04, 0, 123, 0));
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
}

TEST_F(HfServer, StreamsAtItsRateFromZeroWithoutAGap) {
    ControlConnection client(server.port());
    startStream(client);
    const std::size_t wanted = (sanitized ? 2 : 10) * 3000 + 8;
    double rate = 0;
    // A machine busy with other things takes samples from the receiver, not from the server: then
    // the next ten seconds count.
    for (int attempt = 0; attempt < 4 && std::abs(rate / hfRate - 1) > 0.005; ++attempt) {
        const std::size_t first = server.datagrams.counts().datagrams / 8 * 8;
        ASSERT_TRUE(server.datagrams.waitForDatagrams(first + wanted));
        auto arrivals = server.datagrams.arrivals();
        arrivals.erase(arrivals.begin(), arrivals.begin() + static_cast<std::ptrdiff_t>(first));
        rate = pairRate(arrivals, 8);
        std::cout << arrivals.size() << " datagrams, " << server.datagrams.counts().gaps
                  << " gaps, " << rate << " pairs/s, " << 100 * (rate / hfRate - 1) << " % off\n";
    }
    EXPECT_EQ(server.datagrams.arrivals().front().number, 0);
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    if (!sanitized) {
        EXPECT_NEAR(rate, hfRate, 0.005 * hfRate);
    }
}

TEST_F(HfServer, ACarrierAppearsWhereItIs) {
    ControlConnection client(server.port());
    startStream(client);
    Peak peak{};
    double image = 0;
    // A machine that is short of time loses samples before they come to the server; that smears.
    for (int attempt = 0; attempt < 20 && peak.aboveFloor < image + 60; ++attempt) {
        const Samples samples = server.datagrams.nextSamples(spectrumDatagrams);
        ASSERT_EQ(samples.size(), 65536U);
        peak = strongestLine(samples, hfRate);
        image = levelAt(samples, -50000, hfRate);
    }
    std::cout << "carrier at " << peak.hertz << " Hz, " << peak.aboveFloor
              << " dB above the floor; at -50 kHz " << image << " dB\n";
    EXPECT_NEAR(peak.hertz, 50000, tolerance);
    if (!sanitized) {
        EXPECT_GE(peak.aboveFloor, 60);
        EXPECT_LT(image, peak.aboveFloor - 60);
    }
}

TEST_F(HfServer, RetuningInMidStreamMovesTheCarrier) {
    ControlConnection client(server.port());
    startStream(client);
    EXPECT_NEAR(peakSoonAt(50000).hertz, 50000, tolerance);
    ASSERT_EQ(client.ask(setFrequency(7130000)), setFrequency(7130000));
    EXPECT_NEAR(peakSoonAt(20000).hertz, 20000, tolerance);
    ASSERT_EQ(client.ask(setFrequency(7273456)), setFrequency(7273456));
    EXPECT_NEAR(peakSoonAt(-123456).hertz, -123456, tolerance);
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
}

TEST_F(HfServer, StopEndsTheStreamAndTheNextRunGoesOnCounting) {
    ControlConnection client(server.port());
    startStream(client);
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(running));
    ASSERT_TRUE(server.datagrams.waitForDatagrams(500));
    ASSERT_EQ(client.ask(setState(1)), setState(1));
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    const std::size_t before = server.datagrams.counts().datagrams;
    ASSERT_EQ(client.ask(setState(2)), setState(2));
    EXPECT_TRUE(server.datagrams.waitForDatagrams(before + 500));
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
}

TEST_F(HfServer, TheNextClientGetsTheBacklogFirstNumberedFromZero) {
    {
        ControlConnection client(server.port());
        startStream(client);
        ASSERT_TRUE(server.datagrams.waitForDatagrams(1500));
    }
    ASSERT_TRUE(server.process.output.waitFor("UDPThread exit\n"));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    const std::size_t first = server.datagrams.counts().datagrams;
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);

    ControlConnection next(server.port());
    EXPECT_EQ(next.ask(askStatus()), statusAnswer(running));
    ASSERT_TRUE(server.datagrams.waitForDatagrams(first + 10000));
    const auto arrivals = server.datagrams.arrivals();
    EXPECT_EQ(arrivals.at(first).number, 0);
    EXPECT_EQ(server.datagrams.counts().gaps, 1U);
    EXPECT_EQ(server.datagrams.counts().fromZero, 1U);

    // What came in the five seconds is there; by the sample clock there is more of it than time.
    const std::chrono::duration<double> pause = arrivals[first].time - arrivals[first - 1].time;
    const std::chrono::duration<double> sinceStart = arrivals.back().time - arrivals[0].time;
    const std::chrono::duration<double> burst = arrivals[first + 9999].time - arrivals[first].time;
    const double signal = static_cast<double>(arrivals.size()) * 256 / hfRate;
    std::cout << "pause " << pause.count() << " s; then the first 10000 datagrams ("
              << 2560000 / hfRate << " s of signal) in " << burst.count() << " s; since the start "
              << sinceStart.count() << " s, received " << signal << " s of signal\n";
    EXPECT_GT(pause.count(), 4.5);
    if (!sanitized) { // It catches up only as fast as it can send.
        EXPECT_GT(signal, sinceStart.count() - pause.count() + 2);
    }
}

// The backlog is the oldest first: at the seam between two clients not one sample is missing, or
// the carrier's phase would jump and spread its line.
TEST_F(HfServer, NoSampleIsMissingBetweenTwoClients) {
    double carrier = 0;
    double beside = 0;
    ASSERT_NO_FATAL_FAILURE(startStream(ControlConnection(server.port())));
    // A machine that is short of time may lose samples elsewhere at that moment.
    for (int attempt = 1; attempt <= 4 && beside > carrier - 50; ++attempt) {
        ASSERT_TRUE(server.process.output.waitFor("UDPThread exit\n", attempt));
        EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
        const std::size_t first = server.datagrams.counts().datagrams;
        ControlConnection next(server.port());
        ASSERT_TRUE(server.datagrams.waitForDatagrams(first + 10000));
        if (first < spectrumDatagrams)
            continue; // The first client was gone before there was a stream to cut.
        const Samples seam =
            server.datagrams.samples(spectrumDatagrams, first - spectrumDatagrams / 2);
        ASSERT_EQ(seam.size(), 65536U);
        carrier = levelAt(seam, 50000, hfRate);
        beside = levelAt(seam, 50300, hfRate);
    }
    std::cout << "carrier " << carrier << " dB, 300 Hz beside it " << beside << " dB\n";
    if (!sanitized) {
        EXPECT_LT(beside, carrier - 50);
    }
}

TEST_F(HfServer, EveryLineOfASession) {
    const std::string portLine = "portToUse " + std::to_string(server.port());
    const std::string accepted = "TCPThread Connection accepted [0-9]+  100007f  127\\.0\\.0\\.1\r";
    const std::string listens = "TCPThread Socket created\nTCPThread bind done\n"
                                "TCPThread Waiting for incoming connections\\.\\.\\.\n";
    {
        ControlConnection client(server.port());
        EXPECT_EQ(client.ask(setFrequency(7100000)), setFrequency(7100000));
        const Bytes rate{0x09, 0x00, 0xB8, 0x00, 0x00, 0x00, 0xB8, 0x0B, 0x00};
        EXPECT_EQ(client.ask(rate), rate);
        EXPECT_EQ(client.ask(setState(2)), setState(2));
        ASSERT_TRUE(server.datagrams.waitForDatagrams(10));
        EXPECT_TRUE(client.send({0x02, 0x00}));
        EXPECT_EQ(client.ask(setState(1)), setState(1));
    }
    ASSERT_TRUE(server.process.output.waitFor("Waiting for incoming connections...\n", 2));
    ASSERT_TRUE(server.process.log.waitFor("*** UDP Thread  0\n", 2));
    EXPECT_THAT(server.process.output.text(),
                MatchesRegex(listens + accepted +
                             "TCPThread Client disconnected\nUDPThread exit\n" + listens));
    const std::uint64_t serial = std::stoull(server.receiver.value("hf", "serial"), nullptr, 16);
    std::array<char, 64> words{};
    std::snprintf(words.data(), words.size(), "%X %X 0 0", static_cast<unsigned>(serial >> 32U),
                  static_cast<unsigned>(serial));
    const std::vector<std::string> expected{
        portLine,
        "initAirspy",
        "n 1",
        "0 " + std::to_string(serial),
        "err 0",
        "err 0  numSampleRates 3",
        "rate 0  768000",
        "rate 1  384000",
        "rate 2  192000",
        "err 0  ppb 0",
        std::string("err 0  airspyhf_board_partid_serialno_read 65537 ") + words.data(),
        "err 0  airspyhf_version_string_read R1.0.0-EMULATED",
        "airspyhf_set_samplerate err 0  ",
        "airspyhf_set_freq err 0  ",
        "SetUpTcpServer",
        portLine,
        "*** UDP Thread  0",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 10 20",
        "set frequency 7100000   0 96 86 108 0 0",
        "airspyhf_set_freq err 0  ",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 9 b8",
        "set rate 768000   0 0 184 11 0",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   2   0",
        "airspyhf_start err 0  ",
        "NAK",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   1   0",
        "airspyhf_start err 0  ",
        "SetUpTcpServerAfterDelay",
        "SetUpTcpServer",
        portLine,
        "*** UDP Thread  0",
    };
    EXPECT_THAT(server.process.logLines(), ElementsAreArray(expected));
}

} // namespace
} // namespace feedline::test
