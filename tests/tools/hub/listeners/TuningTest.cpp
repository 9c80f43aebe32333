// SPDX-License-Identifier: MIT
#include "HubParts.h"

#include <gtest/gtest.h>

namespace feedline::hub {
namespace {

using test::HubParts;

constexpr std::uint32_t inside = HubParts::centre + 200000;
constexpr std::uint32_t outside = HubParts::centre + 5000000;

Configuration tuning(Tuning tuning) {
    Configuration configuration;
    configuration.tuning = tuning;
    return configuration;
}

TEST(Tuning, MovesNothingInsideTheBand) {
    for (const Tuning rule : {Tuning::first, Tuning::any, Tuning::locked}) {
        HubParts hub(tuning(rule));
        const auto first = hub.join();
        const auto other = hub.join();
        first->run(true);
        other->run(true);
        const TuneResult result = first->tune(inside);
        EXPECT_EQ(result.frequency, inside);
        EXPECT_FALSE(result.moved);
        EXPECT_TRUE(result.covered);
        EXPECT_EQ(hub.receiver.wanted().frequency, 0U);
        EXPECT_EQ(first->frequency(), inside);
        EXPECT_EQ(other->frequency(), HubParts::centre);
    }
}

TEST(Tuning, FollowsWhoeverCameFirst) {
    HubParts hub;
    const auto first = hub.join();
    const auto other = hub.join();
    EXPECT_TRUE(first->tune(outside).moved);
    EXPECT_EQ(hub.receiver.wanted().frequency, outside);
    const TuneResult refused = other->tune(HubParts::centre);
    EXPECT_FALSE(refused.moved);
    EXPECT_FALSE(refused.covered);
    EXPECT_FALSE(refused.why.empty());
    EXPECT_EQ(hub.receiver.wanted().frequency, outside);
    EXPECT_EQ(other->frequency(), HubParts::centre) << "his own is as asked";
    EXPECT_EQ(other->heardFrequency(), outside) << "what is received is the truth";
}

TEST(Tuning, PassesTheRightOnWhenTheFirstLeaves) {
    HubParts hub;
    auto first = hub.join();
    const auto other = hub.join();
    first.reset();
    EXPECT_TRUE(other->tune(outside).moved);
}

TEST(Tuning, DoesWhatTheNextOneHasWaitedFor) {
    HubParts hub;
    auto first = hub.join();
    const auto other = hub.join();
    first->run(true);
    other->run(true);
    other->tune(outside);
    EXPECT_FALSE(other->covered());
    first.reset();
    EXPECT_EQ(hub.receiver.wanted().frequency, outside);
    EXPECT_TRUE(other->covered());
}

TEST(Tuning, NeverMakesAListenerFirstThatCannotTune) {
    HubParts hub;
    const auto publisher = hub.receiver.join(
        {.output = "zmq", .address = {}, .detail = {}, .channel = {}, .tunes = false, .wake = {}});
    const auto first = hub.join();
    EXPECT_FALSE(publisher->tune(outside).moved);
    EXPECT_TRUE(first->tune(outside).moved);
}

TEST(Tuning, FollowsEverybodyWhenAnyMay) {
    HubParts hub(tuning(Tuning::any));
    const auto first = hub.join();
    const auto other = hub.join();
    EXPECT_TRUE(other->tune(outside).moved);
    hub.follow();
    EXPECT_FALSE(first->tune(outside).moved) << "it is there";
    EXPECT_TRUE(first->tune(HubParts::centre).moved);
}

TEST(Tuning, FollowsNobodyWhenLocked) {
    HubParts hub(tuning(Tuning::locked));
    const auto first = hub.join();
    const TuneResult refused = first->tune(outside);
    EXPECT_FALSE(refused.moved);
    EXPECT_FALSE(refused.covered);
    EXPECT_NE(refused.why.find("locked"), std::string::npos);
    EXPECT_EQ(hub.receiver.wanted().frequency, 0U);
}

TEST(Tuning, KeepsEverybodyElsesFrequencyAndBringsItBackWithTheBand) {
    HubParts hub;
    const auto first = hub.join();
    const auto other = hub.join();
    other->setRate(48000);
    other->tune(inside);
    first->tune(outside);
    hub.follow();
    EXPECT_FALSE(other->covered());
    EXPECT_EQ(other->frequency(), inside);
    first->tune(HubParts::centre);
    hub.follow();
    EXPECT_TRUE(other->covered());
    EXPECT_EQ(other->heardFrequency(), inside);
}

// A program that knows only the server expects its whole band around the frequency it sets.
TEST(Tuning, GivesWhoListensAloneABandWithAllOfHisChannel) {
    HubParts hub;
    const auto alone = hub.join();
    alone->run(true);
    EXPECT_TRUE(alone->tune(inside).moved);
    hub.follow();
    EXPECT_TRUE(alone->exact());
    alone->setRate(48000);
    EXPECT_FALSE(alone->tune(inside + 100000).moved) << "the band has all of it";
    EXPECT_TRUE(alone->tune(inside + 380000).moved) << "half of it would be beyond the band's end";
}

} // namespace
} // namespace feedline::hub
