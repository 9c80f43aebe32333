// A whole session over the emulated AirSpy.
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
using ::testing::ElementsAreArray;

constexpr std::size_t spectrumDatagrams = 65536 / 256;
constexpr double binWidth = airspyRate / 65536;
/// Samples lost to an instrumented program's slowness smear a line.
constexpr double tolerance = sanitized ? 1000 : 2 * binWidth;
constexpr std::size_t block = 256; // datagrams

struct AirspyServer : ::testing::Test {
    StreamedServer server{receiverAirspy, {.devices = "airspy"}};

    void TearDown() override {
        EXPECT_TRUE(server.process.running());
        EXPECT_EQ(server.process.end(SIGTERM, "after the test"), 0);
        EXPECT_EQ(server.process.savedSettings(), server.settings);
        EXPECT_EQ(server.datagrams.counts().malformed, 0U);
    }

    static void startStream(const ControlConnection& client) {
        ASSERT_EQ(client.ask(setFrequency(airspyCentre)), setFrequency(airspyCentre));
        ASSERT_EQ(client.ask(setState(2)), setState(2));
    }

    /// Samples that were on their way when the receiver was retuned may be in the first spectra.
    Peak peakSoonAt(double hertz) const {
        Peak peak{};
        for (int attempt = 0; attempt < 50; ++attempt) {
            peak = strongestLine(server.datagrams.nextSamples(spectrumDatagrams), airspyRate);
            if (std::abs(peak.hertz - hertz) < tolerance)
                break;
        }
        return peak;
    }

    /// The counts of the once-a-second lines so far, with the stream's state before each.
    std::vector<std::pair<int, int>> secondLines() const {
        std::vector<std::pair<int, int>> result;
        const std::regex form("iStreaming ([01])  samples: ([0-9]+)");
        for (const std::string& line : server.process.logLines()) {
            std::smatch match;
            if (std::regex_match(line, match, form))
                result.emplace_back(std::stoi(match[1]), std::stoi(match[2]));
        }
        return result;
    }
};

TEST_F(AirspyServer, SaysWhatItIs) {
    ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askName()), (Bytes{0x0B, 0, 0x01, 0, 'A', 'i', 'r', 'S', 'p', 'y', 0}));
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
}

TEST_F(AirspyServer, StreamsAtItsRateFromZeroWithoutAGap) {
    ControlConnection client(server.port());
    startStream(client);
    const std::size_t wanted = (sanitized ? 2 : 10) * 9766 + block;
    double rate = 0;
    // A machine busy with other things takes samples from the receiver, not from the server: then
    // the next ten seconds count.
    for (int attempt = 0; attempt < 4 && std::abs(rate / airspyRate - 1) > 0.005; ++attempt) {
        const std::size_t first = server.datagrams.counts().datagrams / block * block;
        ASSERT_TRUE(server.datagrams.waitForDatagrams(first + wanted));
        auto arrivals = server.datagrams.arrivals();
        arrivals.erase(arrivals.begin(), arrivals.begin() + static_cast<std::ptrdiff_t>(first));
        rate = pairRate(arrivals, block);
        std::cout << arrivals.size() << " datagrams, " << server.datagrams.counts().gaps
                  << " gaps, " << rate << " pairs/s, " << 100 * (rate / airspyRate - 1)
                  << " % off\n";
    }
    EXPECT_EQ(server.datagrams.arrivals().front().number, 0);
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    if (!sanitized) {
        EXPECT_NEAR(rate, airspyRate, 0.005 * airspyRate);
    }
}

TEST_F(AirspyServer, ACarrierAppearsWhereItIsAndFollowsTheTuning) {
    ControlConnection client(server.port());
    startStream(client);
    const Peak peak = peakSoonAt(50000);
    std::cout << "carrier at " << peak.hertz << " Hz, " << peak.aboveFloor
              << " dB above the floor\n";
    EXPECT_NEAR(peak.hertz, 50000, tolerance);
    if (!sanitized) { // Lost samples smear the line.
        EXPECT_GE(peak.aboveFloor, 40);
    }
    ASSERT_EQ(client.ask(setFrequency(100400000)), setFrequency(100400000));
    EXPECT_NEAR(peakSoonAt(-350000).hertz, -350000, tolerance);
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
}

TEST_F(AirspyServer, NumbersRunOnAcrossStopStartAndTheNextClient) {
    std::size_t before = 0;
    {
        ControlConnection client(server.port());
        startStream(client);
        ASSERT_TRUE(server.datagrams.waitForDatagrams(4 * block));
        ASSERT_EQ(client.ask(setState(1)), setState(1));
        EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
        EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
        before = server.datagrams.counts().datagrams;
        ASSERT_EQ(client.ask(setState(2)), setState(2));
        ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 4 * block));
    }
    // Nobody is there, and the datagrams go on.
    ASSERT_TRUE(server.process.output.waitFor("TCPThread Client disconnected\n"));
    before = server.datagrams.counts().datagrams;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 4 * block));
    ControlConnection next(server.port());
    EXPECT_EQ(next.ask(askStatus()), statusAnswer(running));
    before = server.datagrams.counts().datagrams;
    ASSERT_TRUE(server.datagrams.waitForDatagrams(before + 4 * block));
    EXPECT_EQ(server.datagrams.counts().gaps, 0U);
    EXPECT_EQ(server.datagrams.arrivals().front().number, 0);
}

TEST_F(AirspyServer, OnceASecondItLogsTheSamplesOfTheSecond) {
    ASSERT_TRUE(server.process.log.waitFor("iStreaming 0  samples: 0\n"));
    ControlConnection client(server.port());
    startStream(client);
    ASSERT_TRUE(server.process.log.waitFor("iStreaming 1  samples: ", sanitized ? 2 : 5));
    ASSERT_EQ(client.ask(setState(1)), setState(1));
    EXPECT_TRUE(server.datagrams.waitForSilence(500ms));
    const std::size_t streamed = server.datagrams.counts().datagrams;
    // Two ticks after the end: one that may still have counted, one that cannot.
    const int ticks = static_cast<int>(secondLines().size());
    ASSERT_TRUE(server.process.log.waitFor("iStreaming ", ticks + 2));
    std::size_t counted = 0;
    for (const auto& [streaming, samples] : secondLines()) {
        EXPECT_EQ(samples % 65536, 0) << "whole blocks";
        counted += static_cast<std::size_t>(samples);
        std::cout << "iStreaming " << streaming << "  samples: " << samples << '\n';
    }
    EXPECT_EQ(secondLines().front(), std::pair(0, 0));
    EXPECT_EQ(secondLines().back(), std::pair(0, 0));
    // A block counted at the very moment of a tick may be lost to both.
    EXPECT_NEAR(static_cast<double>(counted), static_cast<double>(streamed) * 256, 2 * 65536.0);
    if (!sanitized) {
        const auto lines = secondLines();
        const auto full = lines.at(lines.size() - 5); // in the middle of the stream
        EXPECT_NEAR(full.second, airspyRate, 2 * 65536.0);
    }
}

TEST_F(AirspyServer, EveryLineOfASession) {
    const std::string portLine = "portToUse " + std::to_string(server.port());
    {
        ControlConnection client(server.port());
        startStream(client);
        ASSERT_TRUE(server.datagrams.waitForDatagrams(block));
        ASSERT_EQ(client.ask(setState(1)), setState(1));
    }
    ASSERT_TRUE(server.process.log.waitFor("SetUpTcpServerAfterDelay\n"));
    std::vector<std::string> lines = server.process.logLines();
    std::erase_if(lines, [](const std::string& line) { return line.rfind("iStreaming", 0) == 0; });
    const std::uint64_t serial =
        std::stoull(server.receiver.value("airspy", "serial"), nullptr, 16);
    std::array<char, 64> words{};
    std::snprintf(words.data(), words.size(), "%X %X", static_cast<unsigned>(serial >> 32U),
                  static_cast<unsigned>(serial));
    const std::vector<std::string> expected{
        portLine,
        "n 1",
        "0 " + std::to_string(serial),
        "err 0",
        "airspy_set_sample_type err 0  ",
        "err 0  numSampleRates 2",
        "rate 0  10000000",
        "rate 1  2500000",
        "airspy_set_samplerate err 0  ",
        std::string("err 0  airspy_board_partid_serialno_read 1762000939 48 0 0 ") + words.data(),
        "err 0  airspy_version_string_read AirSpy EMULATED v1.0.0",
        "airspy_set_packing err 0  ",
        "airspy_set_rf_bias err 0  ",
        "SetUpTcpServer",
        portLine,
        "*** UDP Thread  0",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 10 20",
        "set frequency 100000000   0 0 225 245 5 0",
        "airspy_set_freq err 0  ",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   2   0",
        "airspyhf_start err 0  ",
        "TYPE_TARG_RESP_CITEM ParseAscpMsg 0 8 18",
        "set state 128   1   0",
        "airspyhf_start err 0  ",
        "SetUpTcpServerAfterDelay",
    };
    EXPECT_THAT(lines, ElementsAreArray(expected));
}

} // namespace
} // namespace feedline::test
