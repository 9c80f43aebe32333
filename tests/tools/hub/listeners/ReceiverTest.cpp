// SPDX-License-Identifier: MIT
#include "HubParts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace feedline::hub {
namespace {

using test::HubParts;

TEST(Receiver, RunsWhileAnybodyListens) {
    HubParts hub;
    int changes = 0;
    hub.receiver.onWanted([&] { ++changes; });
    auto first = hub.join();
    auto other = hub.join();
    EXPECT_FALSE(hub.receiver.wanted().listening);
    first->run(true);
    EXPECT_TRUE(hub.receiver.wanted().listening);
    other->run(true);
    first->run(false);
    EXPECT_TRUE(hub.receiver.wanted().listening);
    EXPECT_EQ(changes, 1);
    other.reset();
    EXPECT_FALSE(hub.receiver.wanted().listening);
    EXPECT_EQ(changes, 2);
}

TEST(Receiver, TakesNoMoreThanItsLimits) {
    Configuration configuration;
    configuration.listeners = 3;
    configuration.perAddress = 2;
    HubParts hub(configuration);
    auto first = hub.join("192.0.2.1");
    const auto second = hub.join("192.0.2.1");
    EXPECT_THROW(hub.join("192.0.2.1"), Refused);
    const auto third = hub.join("192.0.2.2");
    EXPECT_THROW(hub.join("192.0.2.3"), Refused);
    first.reset();
    EXPECT_NO_THROW(hub.join("192.0.2.1"));
}

TEST(Receiver, CountsNobodyWhoTakesNoPlace) {
    Configuration configuration;
    configuration.listeners = 1;
    HubParts hub(configuration);
    const auto publisher = hub.receiver.join({.output = "zmq",
                                              .address = {},
                                              .detail = {},
                                              .channel = {.wholeBand = true},
                                              .tunes = false,
                                              .counts = false,
                                              .wake = {}});
    EXPECT_NO_THROW(hub.join());
}

TEST(Receiver, TellsEveryChangeOnce) {
    HubParts hub;
    std::vector<std::uint32_t> heard;
    {
        const Subscription subscription = hub.receiver.subscribe(
            [&](const ReceiverState& state) { heard.push_back(state.frequency); });
        hub.tuneTo(1000000);
        hub.tuneTo(1000000);
        hub.tuneTo(2000000);
    }
    hub.tuneTo(3000000);
    EXPECT_EQ(heard, (std::vector<std::uint32_t>{1000000, 2000000}));
}

TEST(Receiver, WakesAListenerOnceUntilItHasReadEverything) {
    HubParts hub;
    std::atomic<int> woken{0};
    const auto listener = hub.receiver.join(
        {.output = "native", .address = "127.0.0.1", .detail = {}, .channel = {}, .wake = [&] {
             ++woken;
         }});
    hub.write(20);
    EXPECT_EQ(woken, 0) << "it does not listen";
    listener->run(true);
    hub.write(20);
    EXPECT_EQ(woken, 1);
    std::vector<std::int16_t> buffer(8192);
    std::size_t heard = 0;
    while (const std::size_t pairs = listener->read(buffer).pairs)
        heard += pairs;
    EXPECT_EQ(heard, HubParts::rate / 50);
    hub.write(2);
    EXPECT_EQ(woken, 2);
}

TEST(Receiver, WakesACutListenerWithTheTransform) {
    HubParts hub;
    std::atomic<int> woken{0};
    const auto listener = hub.receiver.join(
        {.output = "native",
         .address = "127.0.0.1",
         .detail = {},
         .channel = {.wholeBand = false, .frequency = HubParts::centre, .rate = 12000},
         .wake = [&] {
             ++woken;
         }});
    listener->run(true);
    hub.write(10);
    EXPECT_EQ(woken, 0);
    hub.write(10);
    EXPECT_EQ(woken, 1);
    std::vector<std::complex<float>> buffer(1000);
    EXPECT_EQ(listener->read(buffer).pairs, 240U);
}

// What came before the start is not heard.
TEST(Receiver, LetsAListenerHearFromItsStartOn) {
    HubParts hub;
    const auto listener = hub.join();
    hub.write(20);
    listener->run(true);
    std::vector<std::int16_t> buffer(8192);
    EXPECT_EQ(listener->read(buffer).pairs, 0U);
    hub.write(2);
    EXPECT_EQ(listener->read(buffer).pairs, HubParts::rate / 500);
}

TEST(Receiver, ReportsWhatEachOneHears) {
    HubParts hub;
    const auto first = hub.join("192.0.2.1");
    const auto other = hub.join("192.0.2.2");
    other->setDetail("port 4711");
    other->setRate(48001);
    other->tune(HubParts::centre + 1000);
    other->run(true);
    other->sent(100, 400);
    other->dropped(7);
    const auto reports = hub.receiver.listeners();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_TRUE(reports[0].exact);
    EXPECT_TRUE(reports[0].mayTune);
    EXPECT_EQ(reports[0].rate, HubParts::rate);
    EXPECT_FALSE(reports[0].running);
    EXPECT_EQ(reports[1].address, "192.0.2.2");
    EXPECT_EQ(reports[1].detail, "port 4711");
    EXPECT_EQ(reports[1].rate, 48000U);
    EXPECT_EQ(reports[1].frequency, HubParts::centre + 1000);
    EXPECT_FALSE(reports[1].exact);
    EXPECT_FALSE(reports[1].mayTune);
    EXPECT_TRUE(reports[1].covered);
    EXPECT_TRUE(reports[1].running);
    EXPECT_EQ(reports[1].sentPairs, 100U);
    EXPECT_EQ(reports[1].sentBytes, 400U);
    EXPECT_EQ(reports[1].dropped, 7U);
    EXPECT_NE(reports[0].number, reports[1].number);
}

// Under the thread sanitizer this is what shows a race: one writes, others come, read and go.
TEST(Receiver, IsSharedByThreadsThatComeAndGo) {
    HubParts hub;
    std::atomic<bool> ending{false};
    std::vector<std::thread> visitors;
    for (std::uint32_t visitor = 0; visitor < 3; ++visitor)
        visitors.emplace_back([&, visitor] {
            std::vector<std::int16_t> buffer(8192);
            while (!ending) {
                const auto listener = hub.join();
                listener->setRate(8000 * (visitor + 1));
                listener->tune(HubParts::centre + 1000 * visitor);
                listener->run(true);
                for (int read = 0; read < 50; ++read)
                    listener->read(buffer);
                hub.receiver.listeners();
                // Or the three would hand the lock to one another and never to the writer.
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    for (int round = 0; round < 20; ++round)
        hub.write(20);
    ending = true;
    for (std::thread& visitor : visitors)
        visitor.join();
    EXPECT_TRUE(hub.receiver.listeners().empty());
}

} // namespace
} // namespace feedline::hub
