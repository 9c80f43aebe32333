// SPDX-License-Identifier: MIT
#include "ScriptedServer.h"

#include "ControlConnection.h"
#include "ControlMessages.h"
#include "DatagramReceiver.h"
#include "DatagramView.h"
#include "Waiting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <sys/socket.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

/// Takes what comes until so many datagrams have; first entry and number of each.
std::vector<std::pair<std::uint16_t, std::int16_t>> next(DatagramReceiver& receiver,
                                                         std::size_t count) {
    std::vector<std::pair<std::uint16_t, std::int16_t>> seen;
    while (seen.size() < count) {
        const Bytes bytes = receiver.receive();
        const DatagramView view(bytes);
        if (!view.wellFormed())
            throw std::runtime_error("no datagram");
        seen.emplace_back(view.number(), view.entry(511));
    }
    return seen;
}

/// Every entry is its datagram's place.
void tellPlace(std::int64_t place, DatagramSamples& samples) {
    samples.fill(static_cast<std::int16_t>(place));
}

TEST(ScriptedStream, LosesRepeatsAndCountsAnewWhereToldTo) {
    DatagramReceiver receiver;
    const ScriptedStream stream(receiver.port(), {.firstNumber = 65534,
                                                  .end = 8,
                                                  .signal = tellPlace,
                                                  .fate = [](std::int64_t place) -> Fate {
                                                      return {.lost = place == 3,
                                                              .twice = place == 5,
                                                              .countsAnew = place == 6};
                                                  }});
    using Seen = std::pair<std::uint16_t, std::int16_t>;
    EXPECT_THAT(next(receiver, 8),
                ElementsAre(Seen(65534, 0), Seen(65535, 1), Seen(0, 2), Seen(2, 4), Seen(3, 5),
                            Seen(3, 5), Seen(0, 6), Seen(1, 7)));
    EXPECT_TRUE(waitUntil([&] { return stream.place() == 8; }));
    EXPECT_FALSE(receiver.hasInput());
}

TEST(ScriptedStream, IsNeverEarlierThanItsRateAndItsSilencesAllow) {
    DatagramReceiver receiver;
    const auto begin = std::chrono::steady_clock::now();
    const ScriptedStream stream(receiver.port(), {.pairsPerSecond = 256 * 1000,
                                                  .burst = 10,
                                                  .end = 101,
                                                  .fate = [](std::int64_t place) -> Fate {
                                                      return {.silence = place == 50 ? 80ms : 0ms};
                                                  }});
    next(receiver, 101);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 180ms);
}

TEST(ScriptedServer, StreamsWhileItRunsAndGoesOnCounting) {
    // It fits any receive buffer. A part is sent, and the rest once it is told to run again.
    std::atomic<bool> waited = false;
    ScriptedServer server;
    server.streamWhenRun({.end = 60, .signal = tellPlace, .fate = [&](std::int64_t place) -> Fate {
                              return {.silence = place == 20 && !waited.exchange(true) ? 24h : 0h};
                          }});
    // On the server's own number, as a client would.
    const OwnedDescriptor socket = makeSocket(SOCK_DGRAM);
    ASSERT_TRUE(bindToLoopback(socket.get(), server.port()));
    const ControlConnection client(server.port());
    EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    for (const std::int64_t end : {20, 60}) {
        EXPECT_EQ(client.ask(setState(runState)), setState(runState));
        EXPECT_EQ(client.ask(askStatus()), statusAnswer(running));
        EXPECT_TRUE(waitUntil([&] { return server.streamed() == end; }));
        EXPECT_EQ(client.ask(setState(stopState)), setState(stopState));
        EXPECT_EQ(client.ask(askStatus()), statusAnswer(idle));
    }
    std::array<std::uint8_t, datagramBytes> bytes{};
    std::int64_t received = 0;
    for (; recv(socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT) == datagramBytes;
         ++received)
        ASSERT_EQ(DatagramView(bytes).number(), received);
    EXPECT_EQ(received, server.streamed());
}

TEST(ScriptedServer, ServesTheNextClientAfterADroppedOne) {
    ScriptedServer server;
    const ControlConnection first(server.port());
    EXPECT_EQ(first.ask(askName()), nameAnswer("AirSpyHF+"));
    server.dropClient();
    EXPECT_TRUE(first.waitForEnd());
    const ControlConnection second(server.port());
    EXPECT_EQ(second.ask(askName()), nameAnswer("AirSpyHF+"));
}

} // namespace
} // namespace feedline::test
