// SPDX-License-Identifier: MIT
// The device through SoapySDR, against a server that does what the test says.
#include "LoadedModule.h"
#include "Loopback.h"
#include "ProcessFacts.h"
#include "ScriptedServer.h"
#include "Waiting.h"

#include <gtest/gtest.h>

#include <SoapySDR/Constants.h>
#include <SoapySDR/Errors.h>
#include <SoapySDR/Formats.hpp>
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <sys/socket.h>
#include <thread>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Answer = ScriptedServer::Answer;

constexpr long longLimit = 60'000'000; // us
constexpr double rate = 768000;

// Sample `entry` of datagram `number`: no two neighbours alike.
std::int16_t sampleOf(std::uint16_t number, std::size_t entry) {
    return static_cast<std::int16_t>(std::size_t{517} * number + 31 * entry);
}

Answer hub(const Bytes& message) {
    switch (message[2]) {
    case 0xB8:
        if (message[1] == 0x20)
            return {{9, 0, 0xB8, 0, 0, 0, 0xB8, 0x0B, 0}}; // 768000
        return {{9, 0, 0xB8, 0, 0, 0x80, 0xBB, 0, 0}};     // 48000, whatever was asked for
    case 0x20:
        if (message[1] == 0x20)
            return {{10, 0, 0x20, 0, 0, 0x60, 0x56, 0x6C, 0, 0}}; // 7.1 MHz
        [[fallthrough]];
    default:
        return ScriptedServer::properAnswer(message);
    }
}

class DeviceTest : public testing::Test {
protected:
    DeviceTest() {
        loadModule(MODULE);
        SoapyLog::clear();
    }

    SoapySDR::Kwargs arguments(const ScriptedServer& server) const {
        return {{"port", std::to_string(server.port())}, {"rate", std::to_string(rate)}};
    }
    void make(SoapySDR::Kwargs more = {}) {
        more.merge(arguments(server));
        device = makeDevice(more);
    }
    void open(const char* format = SOAPY_SDR_CS16, const SoapySDR::Kwargs& more = {}) {
        make(more);
        stream = device->setupStream(SOAPY_SDR_RX, format, {0});
        ASSERT_NE(stream, nullptr);
        ASSERT_EQ(device->activateStream(stream), 0);
    }
    void TearDown() override {
        if (stream != nullptr)
            device->closeStream(stream);
    }

    void send(std::uint16_t number) {
        ScriptedServer::Samples samples;
        for (std::size_t entry = 0; entry < samples.size(); ++entry)
            samples[entry] = sampleOf(number, entry);
        server.sendDatagram(number, samples);
    }
    void send(int from, int to) {
        for (int number = from; number < to; ++number)
            send(static_cast<std::uint16_t>(number));
    }

    template <typename Sample>
    int read(std::vector<Sample>& samples, std::size_t pairs, long timeout = longLimit) {
        samples.assign(2 * pairs, Sample{});
        void* const buffers[] = {samples.data()};
        return device->readStream(stream, buffers, pairs, flags, time, timeout);
    }
    int read(std::size_t pairs, long timeout = longLimit) { return read(samples, pairs, timeout); }

    // Reads datagrams whole, and compares every sample.
    void expectDatagrams(int from, int to) {
        const auto pairs = static_cast<std::size_t>(to - from) * 256;
        ASSERT_EQ(read(pairs), static_cast<int>(pairs));
        for (std::size_t at = 0; at < 2 * pairs; ++at)
            ASSERT_EQ(samples[at], sampleOf(static_cast<std::uint16_t>(
                                                static_cast<std::size_t>(from) + at / 512),
                                            at % 512))
                << at;
    }

    std::size_t count(const Bytes& message) {
        const auto messages = server.messages();
        return static_cast<std::size_t>(std::ranges::count(messages, message));
    }
    std::string sensor(const char* key) const { return device->readSensor(key); }

    ScriptedServer server;
    DevicePointer device;
    SoapySDR::Stream* stream = nullptr;
    std::vector<std::int16_t> samples;
    int flags = 0;
    long long time = 0;
};

TEST_F(DeviceTest, OpeningDoesNotConnect) {
    make();
    EXPECT_EQ(device->getDriverKey(), "feedline");
    EXPECT_EQ(device->getNumChannels(SOAPY_SDR_RX), 1U);
    EXPECT_EQ(device->getNumChannels(SOAPY_SDR_TX), 0U);
    EXPECT_EQ(device->listAntennas(SOAPY_SDR_RX, 0), std::vector<std::string>{"RX"});
    EXPECT_EQ(device->getStreamFormats(SOAPY_SDR_RX, 0),
              (std::vector<std::string>{"CS16", "CF32", "CS8"}));
    double fullScale = 0;
    EXPECT_EQ(device->getNativeStreamFormat(SOAPY_SDR_RX, 0, fullScale), "CS16");
    EXPECT_EQ(fullScale, 32768);
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), rate);
    EXPECT_EQ(device->listSampleRates(SOAPY_SDR_RX, 0), std::vector<double>{rate});
    EXPECT_TRUE(device->hasHardwareTime());
    EXPECT_EQ(device->getHardwareInfo().at("address"), server.address());
    device.reset();
    EXPECT_TRUE(server.messages().empty());
}

TEST_F(DeviceTest, FindingDoesNotConnect) {
    const auto found =
        SoapySDR::Device::enumerate("driver=feedline,port=" + std::to_string(server.port()));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].at("driver"), "feedline");
    EXPECT_NE(found[0].at("label").find(std::to_string(server.port())), std::string::npos);
    EXPECT_TRUE(server.messages().empty());
}

TEST_F(DeviceTest, GainsAreFixed) {
    make();
    ASSERT_EQ(device->listGains(SOAPY_SDR_RX, 0).size(), 1U);
    const auto range = device->getGainRange(SOAPY_SDR_RX, 0);
    EXPECT_EQ(range.minimum(), 0);
    EXPECT_EQ(range.maximum(), 0);
    device->setGain(SOAPY_SDR_RX, 0, 20);
    EXPECT_EQ(device->getGain(SOAPY_SDR_RX, 0), 0);
}

TEST_F(DeviceTest, TellsWhoIsThere) {
    make();
    EXPECT_EQ(device->getHardwareKey(), "AirSpyHF+");
    EXPECT_EQ(device->getHardwareInfo().at("receiver"), "AirSpyHF+");
    EXPECT_EQ(device->getHardwareInfo().at("kind"), "server");
    EXPECT_EQ(sensor("server"), "AirSpyHF+");
    for (const std::string& key : device->listSensors()) {
        EXPECT_EQ(device->getSensorInfo(key).key, key);
        EXPECT_NE(device->readSensor(key), "") << key;
    }
    EXPECT_EQ(device->readSensor("weather"), "");
}

TEST_F(DeviceTest, ReadsExactlyWhatWasSent) {
    open();
    send(0, 20);
    expectDatagrams(0, 7);
    const long long begin = time;
    EXPECT_EQ(flags, SOAPY_SDR_HAS_TIME);
    expectDatagrams(7, 20);
    EXPECT_EQ(time, begin + std::llround(7 * 256 * 1e9 / rate));
    EXPECT_LT(std::abs(device->getHardwareTime() - time), 600'000'000'000);
    EXPECT_EQ(count({8, 0, 0x18, 0, 0x80, 2, 0, 0}), 1U);
    EXPECT_EQ(sensor("lost"), "0");
}

TEST_F(DeviceTest, AnyNumberOfPairsCanBeRead) {
    open();
    send(0, 4);
    std::size_t entry = 0;
    for (const std::size_t pairs : {1, 100, 255, 300, 368}) {
        ASSERT_EQ(read(pairs), static_cast<int>(pairs));
        for (const std::int16_t sample : samples) {
            ASSERT_EQ(sample, sampleOf(static_cast<std::uint16_t>(entry / 512), entry % 512));
            ++entry;
        }
    }
    EXPECT_EQ(read(0), 0);
}

TEST_F(DeviceTest, ConvertsToFloat) {
    open(SOAPY_SDR_CF32);
    send(0, 2);
    std::vector<float> samples;
    ASSERT_EQ(read(samples, 512), 512);
    for (std::size_t at = 0; at < samples.size(); ++at)
        ASSERT_EQ(samples[at] * 32768, sampleOf(static_cast<std::uint16_t>(at / 512), at % 512));
    EXPECT_EQ(device->getNumDirectAccessBuffers(stream), 0U);
}

TEST_F(DeviceTest, ConvertsToBytes) {
    open(SOAPY_SDR_CS8);
    send(0, 1);
    std::vector<std::int8_t> samples;
    ASSERT_EQ(read(samples, 256), 256);
    for (std::size_t at = 0; at < samples.size(); ++at)
        ASSERT_NEAR(samples[at], sampleOf(0, at) / 256.0, 1.0);
}

TEST_F(DeviceTest, GivesBuffersWithoutACopy) {
    open();
    send(0, 150);
    const std::size_t mtu = device->getStreamMTU(stream);
    ASSERT_EQ(mtu, 12800U);
    EXPECT_GE(device->getNumDirectAccessBuffers(stream), 2U);
    std::array<std::size_t, 2> handles{};
    std::array<const void*, 2> buffers{};
    for (std::size_t at = 0; at < 2; ++at)
        ASSERT_EQ(
            device->acquireReadBuffer(stream, handles[at], &buffers[at], flags, time, longLimit),
            static_cast<int>(mtu));
    EXPECT_NE(handles[0], handles[1]);
    // The second lies behind the first, where both were received to.
    EXPECT_EQ(static_cast<const std::int16_t*>(buffers[0]) + 2 * mtu, buffers[1]);
    const auto* const entries = static_cast<const std::int16_t*>(buffers[0]);
    for (std::size_t at = 0; at < 4 * mtu; ++at)
        ASSERT_EQ(entries[at], sampleOf(static_cast<std::uint16_t>(at / 512), at % 512));
    device->releaseReadBuffer(stream, handles[1]);
    device->releaseReadBuffer(stream, handles[0]);
}

TEST_F(DeviceTest, ALossIsToldOnceAndTheTimeSaysHowLongItWas) {
    open();
    send(0, 2);
    send(7, 80);
    expectDatagrams(0, 2);
    const long long begin = time;
    EXPECT_EQ(read(256), SOAPY_SDR_OVERFLOW);
    EXPECT_EQ(time, begin + std::llround(7 * 256 * 1e9 / rate));
    expectDatagrams(7, 20);
    EXPECT_EQ(time, begin + std::llround(7 * 256 * 1e9 / rate));
    EXPECT_EQ(sensor("lost"), "5");
    EXPECT_EQ(sensor("dropped"), "0");
}

TEST_F(DeviceTest, ALateDatagramIsPutInItsPlace) {
    open();
    send(0, 2);
    send(3);
    send(2);
    send(4);
    expectDatagrams(0, 5);
    EXPECT_EQ(sensor("lost"), "0");
}

TEST_F(DeviceTest, ANewBeginningIsALossThatGoesByTheClock) {
    open();
    send(5000, 5010);
    expectDatagrams(5000, 5010);
    const long long end = time + std::llround(10 * 256 * 1e9 / rate);
    send(0, 10);
    EXPECT_EQ(read(256), SOAPY_SDR_OVERFLOW);
    EXPECT_GE(time, end);
    expectDatagrams(0, 10);
    EXPECT_EQ(sensor("lost"), "0");
}

TEST_F(DeviceTest, AReadWaitsAndThenGivesWhatThereIs) {
    open();
    send(0, 1);
    auto begin = Clock::now();
    EXPECT_EQ(read(1000, 60'000), 256);
    EXPECT_GE(Clock::now() - begin, 60ms);
    begin = Clock::now();
    EXPECT_EQ(read(1000, 60'000), SOAPY_SDR_TIMEOUT);
    EXPECT_GE(Clock::now() - begin, 60ms);
    EXPECT_EQ(read(1000, 0), SOAPY_SDR_TIMEOUT);
}

TEST_F(DeviceTest, ReadingAnIdleStreamWaitsToo) {
    make();
    stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
    ASSERT_NE(stream, nullptr);
    const auto begin = Clock::now();
    EXPECT_EQ(read(1, 50'000), SOAPY_SDR_TIMEOUT);
    EXPECT_GE(Clock::now() - begin, 50ms);
}

TEST_F(DeviceTest, DeactivationWakesAReaderAndStopsTheReceiver) {
    open();
    std::atomic<int> result = 0;
    std::thread reader([&] { result = read(256, 1L << 30); });
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(device->deactivateStream(stream), 0);
    reader.join();
    EXPECT_EQ(result, SOAPY_SDR_TIMEOUT);
    EXPECT_TRUE(server.waitForStop());
    EXPECT_EQ(device->deactivateStream(stream), 0);
}

TEST_F(DeviceTest, AStreamCanBeActivatedAgainAndOpenedAgain) {
    open();
    send(0, 2);
    expectDatagrams(0, 2);
    device->deactivateStream(stream);
    EXPECT_EQ(device->activateStream(stream), 0);
    send(100, 102);
    expectDatagrams(100, 102);
    device->closeStream(stream);
    stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(device->activateStream(stream), 0);
    send(200, 202);
    expectDatagrams(200, 202);
}

TEST_F(DeviceTest, ASecondStreamIsRefusedInWords) {
    open();
    EXPECT_EQ(device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CF32), nullptr);
    EXPECT_TRUE(SoapyLog::has("one stream"));
    send(0, 2);
    expectDatagrams(0, 2);
}

TEST_F(DeviceTest, WhatThereIsNotIsRefusedInWords) {
    make();
    EXPECT_EQ(device->setupStream(SOAPY_SDR_RX, "CU8"), nullptr);
    EXPECT_TRUE(SoapyLog::has("no stream format CU8"));
    EXPECT_EQ(device->setupStream(SOAPY_SDR_TX, SOAPY_SDR_CS16), nullptr);
    EXPECT_EQ(device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16, {1}), nullptr);
    EXPECT_EQ(device->activateStream(nullptr), SOAPY_SDR_STREAM_ERROR);
    EXPECT_EQ(device->deactivateStream(nullptr), SOAPY_SDR_STREAM_ERROR);
    EXPECT_EQ(read(1, 1), SOAPY_SDR_STREAM_ERROR);
    device->closeStream(nullptr);
}

TEST_F(DeviceTest, TheMtuFitsTheRate) {
    const auto mtuAt = [this](double pairsPerSecond) {
        device.reset();
        make({{"rate", std::to_string(pairsPerSecond)}});
        SoapySDR::Stream* const stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
        return device->getStreamMTU(stream);
    };
    EXPECT_EQ(mtuAt(8000), 133U);
    EXPECT_EQ(mtuAt(48000), 768U);
    EXPECT_EQ(mtuAt(768000), 12800U);
    EXPECT_LE(mtuAt(2.5e6), 2.5e6 / 60);
    EXPECT_LE(mtuAt(10e6), 32768U);
}

TEST_F(DeviceTest, TunesWithOffsetAndCorrection) {
    make({{"offset", "1M"}, {"ppm", "1"}});
    device->setFrequency(SOAPY_SDR_RX, 0, 6e6);
    EXPECT_TRUE(server.waitForMessage({10, 0, 0x20, 0, 0, 0xC7, 0xCF, 0x6A, 0, 0})); // 7,000,007
    EXPECT_EQ(device->getFrequency(SOAPY_SDR_RX, 0), 6e6);
    EXPECT_EQ(device->getFrequencyCorrection(SOAPY_SDR_RX, 0), 1);
    device->setFrequencyCorrection(SOAPY_SDR_RX, 0, 0);
    EXPECT_TRUE(server.waitForMessage({10, 0, 0x20, 0, 0, 0xC0, 0xCF, 0x6A, 0, 0})); // 7,000,000
    EXPECT_EQ(device->listFrequencies(SOAPY_SDR_RX, 0), std::vector<std::string>{"RF"});
    device->setFrequency(SOAPY_SDR_RX, 0, "RF", 7e6);
    EXPECT_TRUE(server.waitForMessage({10, 0, 0x20, 0, 0, 0x00, 0x12, 0x7A, 0, 0})); // 8,000,000
}

TEST_F(DeviceTest, WhatCannotBeTunedIsClampedAndSaidOnce) {
    make();
    const auto ranges = device->getFrequencyRange(SOAPY_SDR_RX, 0);
    ASSERT_EQ(ranges.size(), 2U);
    for (const double frequency :
         {0.0, 40e6, 1e15, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        const std::size_t lines = SoapyLog::count();
        EXPECT_NO_THROW(device->setFrequency(SOAPY_SDR_RX, 0, frequency));
        EXPECT_EQ(SoapyLog::count(), lines + 1) << frequency;
        const double got = device->getFrequency(SOAPY_SDR_RX, 0);
        EXPECT_TRUE(std::ranges::any_of(ranges, [got](const SoapySDR::Range& range) {
            return got >= range.minimum() && got <= range.maximum();
        })) << got;
    }
    EXPECT_NO_THROW(device->setFrequency(SOAPY_SDR_RX, 0, "BB", 1));
    EXPECT_NO_THROW(device->setFrequencyCorrection(SOAPY_SDR_RX, 0, 1e9));
    EXPECT_NO_THROW(device->setAntenna(SOAPY_SDR_RX, 0, "TX"));
    EXPECT_NO_THROW(device->setGain(SOAPY_SDR_RX, 0, "LNA", 1e9));
    EXPECT_NO_THROW(device->setBandwidth(SOAPY_SDR_RX, 0, 1e9));
}

TEST_F(DeviceTest, AServerKeepsItsRateAndTheDeviceSaysSo) {
    make();
    device->setSampleRate(SOAPY_SDR_RX, 0, 1e6);
    EXPECT_TRUE(SoapyLog::has("the sample rate is 768000; the 1000000 asked for cannot be had"));
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), rate);
    EXPECT_EQ(count({9, 0, 0xB8, 0}), 0U);
    const std::size_t lines = SoapyLog::count();
    device->setSampleRate(SOAPY_SDR_RX, 0, rate);
    EXPECT_EQ(SoapyLog::count(), lines);
}

class HubTest : public DeviceTest {
protected:
    void make() {
        device = makeDevice({{"port", std::to_string(hubServer.port())}, {"bind", "127.0.0.3"}});
    }
    ScriptedServer hubServer{hub};
};

TEST_F(HubTest, TellsItsRateAndSetsAnother) {
    make();
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), 768000);
    EXPECT_EQ(device->getFrequency(SOAPY_SDR_RX, 0), 7.1e6);
    EXPECT_EQ(device->getHardwareInfo().at("kind"), "hub");
    EXPECT_GT(device->listSampleRates(SOAPY_SDR_RX, 0).size(), 5U);
    const auto range = device->getSampleRateRange(SOAPY_SDR_RX, 0).front();
    EXPECT_EQ(range.minimum(), 8000);
    EXPECT_EQ(range.maximum(), 3.2e6);
    device->setSampleRate(SOAPY_SDR_RX, 0, 50000);
    EXPECT_TRUE(hubServer.waitForMessage({9, 0, 0xB8, 0, 0, 0x50, 0xC3, 0, 0}));
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), 48000);
}

TEST_F(HubTest, IsConnectedToFromTheAddressThatReceives) {
    make();
    SoapySDR::Stream* const stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
    ASSERT_EQ(device->activateStream(stream), 0);
    // Another program can have the port at another address meanwhile.
    const OwnedDescriptor other = makeSocket(SOCK_DGRAM);
    EXPECT_TRUE(bindToLoopback(other.get(), hubServer.port()));
    device->closeStream(stream);
}

TEST_F(DeviceTest, GoesOnAfterAReconnection) {
    std::atomic<bool> hangUp = false;
    ScriptedServer server([&hangUp](const Bytes& message) -> Answer {
        return {ScriptedServer::properAnswer(message).bytes, hangUp.exchange(false)};
    });
    device = makeDevice({{"port", std::to_string(server.port())}, {"rate", "768000"}});
    stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
    device->setFrequency(SOAPY_SDR_RX, 0, 7.1e6);
    ASSERT_EQ(device->activateStream(stream), 0);
    server.sendDatagram(10);
    EXPECT_EQ(read(256), 256);
    hangUp = true;
    device->setFrequency(SOAPY_SDR_RX, 0, 7.2e6); // the last answer on this connection
    ASSERT_TRUE(waitUntil([&] { return sensor("reconnects") == "1"; }));
    ASSERT_TRUE(waitUntil([&] {
        const auto messages = server.messages();
        return std::ranges::count(messages, Bytes{8, 0, 0x18, 0, 0x80, 2, 0, 0}) == 2;
    }));
    const auto messages = server.messages();
    EXPECT_EQ(std::ranges::count(messages, Bytes{10, 0, 0x20, 0, 0, 0x00, 0xDD, 0x6D, 0, 0}), 2);
    server.sendDatagram(11);
    EXPECT_EQ(read(256), 256);
    EXPECT_TRUE(SoapyLog::has("closed the connection; trying again"));
    EXPECT_TRUE(SoapyLog::has("again\n"));
}

TEST_F(DeviceTest, AServerThatIsNotThereIsWaitedForAndNamedOnce) {
    std::uint16_t port = 0;
    {
        const ReservedPort free;
        port = free.number();
    }
    device = makeDevice({{"port", std::to_string(port)}, {"wait", "0.3"}});
    const auto begin = Clock::now();
    EXPECT_EQ(device->getSampleRate(SOAPY_SDR_RX, 0), 768000);
    EXPECT_GE(Clock::now() - begin, 300ms);
    EXPECT_EQ(device->getFrequencyRange(SOAPY_SDR_RX, 0).size(), 1U);
    EXPECT_NO_THROW(device->setFrequency(SOAPY_SDR_RX, 0, 7.1e6));
    EXPECT_EQ(SoapyLog::count(), 1U) << SoapyLog::lines();
    EXPECT_TRUE(SoapyLog::has("Connection refused"));
    stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(device->activateStream(stream), SOAPY_SDR_STREAM_ERROR);
    EXPECT_EQ(SoapyLog::count(), 2U) << SoapyLog::lines();
}

TEST_F(DeviceTest, AServerThatIsBusyIsNamed) {
    ScriptedServer busy([](const Bytes&) { return Answer{}; });
    device = makeDevice({{"port", std::to_string(busy.port())}, {"wait", "0.3"}});
    EXPECT_EQ(sensor("server"), "");
    EXPECT_TRUE(SoapyLog::has("does not answer"));
}

TEST_F(DeviceTest, APortThatIsTakenIsNamed) {
    const OwnedDescriptor other = makeSocket(SOCK_DGRAM);
    ASSERT_TRUE(bindToLoopback(other.get(), server.port()));
    make();
    stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CS16);
    EXPECT_EQ(device->activateStream(stream), SOAPY_SDR_STREAM_ERROR);
    EXPECT_TRUE(SoapyLog::has("cannot receive on UDP"));
    const auto begin = Clock::now();
    EXPECT_EQ(read(1, 50'000), SOAPY_SDR_TIMEOUT);
    EXPECT_GE(Clock::now() - begin, 50ms);
}

TEST_F(DeviceTest, GivesUpWhenTold) {
    open(SOAPY_SDR_CS16, {{"give_up", "0.1"}});
    EXPECT_EQ(read(256, 1L << 30), SOAPY_SDR_NOT_SUPPORTED);
    send(0, 1);
    EXPECT_EQ(read(256), 256);
}

TEST_F(DeviceTest, SettersMayComeFromSeveralThreadsWhileItStreams) {
    open();
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (int round = 0; !over; ++round) {
                device->setFrequency(SOAPY_SDR_RX, 0, 1e6 * (thread + 1) + round);
                device->setFrequencyCorrection(SOAPY_SDR_RX, 0, thread);
                device->getFrequency(SOAPY_SDR_RX, 0);
                for (const std::string& key : device->listSensors())
                    device->readSensor(key);
            }
        });
    for (int number = 0; number < 500; number += 10) {
        send(number, number + 10);
        expectDatagrams(number, number + 10);
    }
    over = true;
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(DeviceTest, AThousandOpeningsLeaveNothingBehind) {
    const auto round = [this](int number) {
        make();
        stream = device->setupStream(SOAPY_SDR_RX, SOAPY_SDR_CF32);
        device->setFrequency(SOAPY_SDR_RX, 0, 7.1e6);
        ASSERT_EQ(device->activateStream(stream), 0);
        send(static_cast<std::uint16_t>(number));
        std::vector<float> samples;
        ASSERT_EQ(read(samples, 256), 256);
        device->closeStream(stream);
        stream = nullptr;
        device.reset();
    };
    for (int number = 0; number < 50; ++number)
        round(number);
    const std::size_t threads = runningThreads();
    const std::size_t descriptors = openDescriptors();
    const std::size_t heap = heapInUse();
    for (int number = 50; number < 1050; ++number)
        round(number);
    EXPECT_TRUE(waitUntil([&] { return runningThreads() <= threads; }));
    EXPECT_TRUE(waitUntil([&] { return openDescriptors() <= descriptors; }));
    // The messages that the server notes take some; half a kilobyte an opening would be a leak.
    EXPECT_LT(heapInUse(), heap + std::size_t{1000} * 512);
    std::printf("1000 openings: %zd bytes of heap\n", static_cast<ssize_t>(heapInUse() - heap));
}

} // namespace
} // namespace feedline::test
