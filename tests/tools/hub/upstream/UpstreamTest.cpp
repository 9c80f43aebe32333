// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/Upstream.h"

#include "HubParts.h"
#include "ScriptedServer.h"
#include "TemporaryFolder.h"
#include "Waiting.h"
#include "tools/client/Failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace feedline::hub {
namespace {

using test::ScriptedServer;
using test::waitUntil;
using Bytes = test::Bytes;

const Bytes frequencySet{0x0A, 0, 0x20, 0};
const Bytes run{8, 0, 0x18, 0, 0x80, 2};
const Bytes stop{8, 0, 0x18, 0, 0x80, 1};

Bytes frequencyMessage(std::uint32_t hertz) {
    Bytes message = frequencySet;
    message.push_back(0);
    for (unsigned shift = 0; shift < 32; shift += 8)
        message.push_back(static_cast<std::uint8_t>(hertz >> shift));
    message.push_back(0);
    return message;
}

class UpstreamTest : public testing::Test {
protected:
    UpstreamTest() {
        configuration.serverPort = server.port();
        configuration.rate = 768000;
        configuration.linger = 0;
    }

    void begin() {
        receiver.emplace(band, configuration);
        upstream.emplace(band, *receiver, configuration);
    }
    std::unique_ptr<Listener> join() {
        return receiver->join(
            {.output = "native", .address = "127.0.0.1", .detail = {}, .channel = {}, .wake = {}});
    }
    std::size_t countOf(const Bytes& beginning) {
        std::size_t count = 0;
        for (const Bytes& message : server.messages())
            count += std::ranges::mismatch(beginning, message).in1 == beginning.end() ? 1 : 0;
        return count;
    }
    // A stream as fast as an HF+'s, until the test says otherwise.
    void sendSamples(std::chrono::milliseconds length) {
        const auto begin = Clock::now();
        for (std::uint16_t number = 0; Clock::now() - begin < length; ++number) {
            server.sendDatagram(number);
            std::this_thread::sleep_until(begin + (number + 1) * std::chrono::nanoseconds(333333));
        }
    }

    test::TemporaryFolder folder;
    ScriptedServer server;
    Configuration configuration;
    Band band;
    std::optional<Receiver> receiver;
    std::optional<Upstream> upstream;
};

TEST_F(UpstreamTest, SaysWhoTheServerIs) {
    begin();
    ASSERT_TRUE(waitUntil([&] { return receiver->state().connected; }));
    EXPECT_EQ(receiver->state().name, "AirSpyHF+");
    EXPECT_EQ(receiver->state().serial, "123456789");
    EXPECT_EQ(receiver->state().rate, 768000U);
}

TEST_F(UpstreamTest, TunesAtTheStartSoThatTheFrequencyIsKnown) {
    begin();
    EXPECT_TRUE(server.waitForMessage(frequencyMessage(7100000)));
    ASSERT_TRUE(waitUntil([&] { return receiver->state().frequency == 7100000; }));
    EXPECT_EQ(band.tuned().frequency, 7100000U);
}

TEST_F(UpstreamTest, TunesToTheConfiguredFrequency) {
    configuration.frequency = 14100000;
    begin();
    EXPECT_TRUE(server.waitForMessage(frequencyMessage(14100000)));
}

TEST_F(UpstreamTest, RunsTheReceiverWhileAnybodyListens) {
    begin();
    ASSERT_TRUE(waitUntil([&] { return receiver->state().connected; }));
    EXPECT_EQ(countOf(run), 0U);
    auto listener = join();
    listener->run(true);
    EXPECT_TRUE(server.waitForRun());
    listener.reset();
    EXPECT_TRUE(server.waitForStop());
}

TEST_F(UpstreamTest, LetsItLinger) {
    configuration.linger = 1000;
    begin();
    auto listener = join();
    listener->run(true);
    EXPECT_TRUE(server.waitForRun());
    listener.reset();
    listener = join();
    listener->tune(20000000); // Something that is done after the stop would have been.
    EXPECT_TRUE(server.waitForMessage(frequencyMessage(20000000)));
    EXPECT_EQ(countOf(stop), 0U);
}

TEST_F(UpstreamTest, StopsTheReceiverAtTheEnd) {
    begin();
    const auto listener = join();
    listener->run(true);
    EXPECT_TRUE(server.waitForRun());
    upstream.reset();
    EXPECT_TRUE(waitUntil([&] { return countOf(stop) == 1U; }));
}

TEST_F(UpstreamTest, FollowsTheTuningRule) {
    begin();
    ASSERT_TRUE(waitUntil([&] { return receiver->state().connected; }));
    const auto listener = join();
    listener->tune(21000000);
    EXPECT_TRUE(server.waitForMessage(frequencyMessage(21000000)));
    EXPECT_TRUE(waitUntil([&] { return band.tuned().frequency == 21000000; }));
}

TEST_F(UpstreamTest, PassesOnWhatIsReceivedWithItsGaps) {
    begin();
    const auto listener = join();
    listener->run(true);
    ASSERT_TRUE(server.waitForRun());
    for (std::uint16_t number = 0; number < 6; ++number)
        server.sendDatagram(number, ScriptedServer::Samples{1, 2, 3});
    for (std::uint16_t number = 8; number < 100; ++number) // more than is waited for the missing
        server.sendDatagram(number);
    std::vector<std::int16_t> buffer(200000);
    std::size_t heard = 0;
    std::uint64_t lost = 0;
    EXPECT_TRUE(waitUntil([&] {
        const Reading reading = listener->read(std::span(buffer).subspan(2 * heard));
        heard += reading.pairs;
        lost += reading.lost;
        return heard >= std::size_t{80} * 256;
    }));
    EXPECT_EQ(lost, 2U * 256);
    EXPECT_EQ(std::vector(buffer.begin(), buffer.begin() + 3),
              (std::vector<std::int16_t>{1, 2, 3}));
    EXPECT_TRUE(waitUntil([&] { return receiver->figures().lostOnNetwork == 512; }));
}

TEST_F(UpstreamTest, MeasuresTheRateBeforeAnybodyComes) {
    configuration.rate.reset();
    server.streamWhenRun({}); // As fast as an HF+'s.
    begin();
    ASSERT_TRUE(waitUntil([&] { return receiver->state().rate != 0; }));
    EXPECT_EQ(receiver->state().rate, 768000U);
    EXPECT_EQ(band.tuned().rate, 768000U);
    EXPECT_TRUE(server.waitForStop());
}

TEST_F(UpstreamTest, TriesStopAndRunAndThenTheCommandWhenTheStreamIsSilent) {
    configuration.onSilence = "echo silent >> " + folder.file("said");
    begin();
    const auto listener = join();
    listener->run(true);
    ASSERT_TRUE(server.waitForRun());
    EXPECT_TRUE(server.waitForStop());
    EXPECT_TRUE(receiver->state().silent);
    EXPECT_FALSE(folder.has("said"));
    ASSERT_TRUE(waitUntil([&] { return folder.has("said"); }));
    EXPECT_EQ(countOf(run), 2U);
    ASSERT_TRUE(waitUntil([&] { return receiver->figures().silences == 1; }));
    server.sendDatagram(0);
    EXPECT_TRUE(waitUntil([&] { return !receiver->state().silent; }));
    EXPECT_TRUE(waitUntil([&] { return receiver->figures().longestSilence > 3; }));
}

TEST_F(UpstreamTest, SaysThatTheServerHasGone) {
    begin();
    ASSERT_TRUE(waitUntil([&] { return receiver->state().connected; }));
    server.hangUp();
    EXPECT_TRUE(waitUntil([&] { return !receiver->state().connected; }));
}

TEST_F(UpstreamTest, SaysWhenItsPortIsTaken) {
    begin();
    EXPECT_THROW(Upstream(band, *receiver, configuration), client::Failure);
}

// The answer to the first question never comes.
TEST(UpstreamEnd, WaitsForNoServer) {
    ScriptedServer server([](const Bytes&) { return ScriptedServer::Answer{}; });
    Configuration configuration;
    configuration.serverPort = server.port();
    Band band;
    Receiver receiver(band, configuration);
    std::optional<Upstream> upstream(std::in_place, band, receiver, configuration);
    ASSERT_TRUE(server.waitForMessage({4, 0x20, 1, 0}));
    const auto begin = Clock::now();
    upstream.reset();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
}

} // namespace
} // namespace feedline::hub
