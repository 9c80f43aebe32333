// SPDX-License-Identifier: MIT
#include "tools/client/RateFinder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace feedline::client;

namespace {

const ReceiverKind& hf = receiverKind("AirSpyHF+");
const ReceiverKind& airspy = receiverKind("AirSpy");

struct Found {
    double rate;
    double after; ///< seconds
};

/// Bursts of `burst` datagrams, 2 us from one to the next.
Found find(const ReceiverKind& kind, double rate, int burst, double jitter = 0) {
    RateFinder finder(kind);
    for (int position = 0; position < 1'000'000; ++position) {
        const int begin = position / burst * burst;
        const double time =
            begin * 256 / rate + (position - begin) * 2e-6 + jitter * std::sin(begin * 7.0);
        if (const auto found = finder.add(position, std::llround(5e18 + time * 1e9)))
            return {*found, time};
    }
    return {0, 0};
}

TEST(RateFinderTest, FindsTheRateOfAnHf) {
    const Found found = find(hf, 768000, 8);
    EXPECT_EQ(found.rate, 768000);
    EXPECT_LT(found.after, 0.6);
    EXPECT_EQ(find(hf, 912000, 8).rate, 912000);
    EXPECT_EQ(find(hf, 192000, 8).rate, 192000);
    EXPECT_EQ(find(hf, 48000, 8).rate, 48000);
}

TEST(RateFinderTest, FindsTheRateOfAnAirspy) {
    for (const double rate : {2.5e6, 3e6, 6e6, 10e6}) {
        const Found found = find(airspy, rate, 256);
        EXPECT_EQ(found.rate, rate);
        EXPECT_LT(found.after, 0.6);
    }
}

TEST(RateFinderTest, EvenFlowAndJitterDoNotMatter) {
    EXPECT_EQ(find(hf, 768000, 1).rate, 768000);
    EXPECT_EQ(find(hf, 768000, 8, 0.001).rate, 768000);
    EXPECT_EQ(find(airspy, 2.5e6, 256, 0.002).rate, 2.5e6);
}

TEST(RateFinderTest, ARateThatNoReceiverHasIsMeasured) {
    const Found found = find(hf, 650000, 8);
    EXPECT_NEAR(found.rate, 650000, 650);
    EXPECT_GT(found.after, 1.9);
}

// 30,000 datagrams at 500,000 a second, then the receiver's own pace.
TEST(RateFinderTest, BacklogIsNotTheRate) {
    RateFinder finder(hf);
    for (int position = 0; position < 40000; ++position) {
        const int blockBegin = (position - 30000) / 8 * 8;
        const double time = position < 30000 ? position / 500e3 : 0.06 + blockBegin * 256 / 768e3;
        if (const auto found = finder.add(position, std::llround(time * 1e9))) {
            EXPECT_EQ(*found, 768000);
            return;
        }
    }
    FAIL() << "found nothing";
}

// The same over a network of 100 Mbit/s, where the backlog takes seconds and looks steady.
TEST(RateFinderTest, SlowBacklogIsNotTheRateEither) {
    RateFinder finder(hf);
    for (int position = 0; position < 60000; ++position) {
        const int blockBegin = (position - 30000) / 8 * 8;
        const double time = position < 30000 ? position / 12e3 : 2.5 + blockBegin * 256 / 768e3;
        if (const auto found = finder.add(position, std::llround(time * 1e9))) {
            EXPECT_EQ(*found, 768000);
            EXPECT_GT(position, 30000);
            return;
        }
    }
    FAIL() << "found nothing";
}

/// What a finder says of datagrams that come evenly, at a pace that changes with time.
std::vector<double> found(const ReceiverKind& kind, double seconds, double (*pace)(double)) {
    RateFinder finder(kind);
    std::vector<double> all;
    double time = 0;
    for (int position = 0; time < seconds; ++position) {
        if (const auto rate = finder.add(position, std::llround(time * 1e9)))
            all.push_back(*rate);
        time += 256 / pace(time);
    }
    return all;
}

TEST(RateFinderTest, SaysItOnce) {
    EXPECT_EQ(found(hf, 10, [](double) { return 768e3; }), std::vector<double>{768e3});
}

TEST(RateFinderTest, APaceThatFallsAcrossAnotherRateIsNotTakenForIt) {
    const auto pace = [](double time) {
        return std::max(2.5e6, 3.3e6 - 0.3e6 * time);
    };
    EXPECT_EQ(found(airspy, 5, pace), std::vector<double>{2.5e6});
}

TEST(RateFinderTest, WhatLookedSteadyIsPutRight) {
    const auto pace = [](double time) {
        return time < 1 ? 3e6 : 2.5e6;
    };
    EXPECT_EQ(found(airspy, 3, pace), (std::vector<double>{3e6, 2.5e6}));
}

// Half a second late, and then as much faster until nothing is behind.
TEST(RateFinderTest, AMachineThatStandsStillDoesNotChangeIt) {
    const auto pace = [](double time) {
        return time > 2 && time < 2.5 ? 1e3 : time > 2.5 && time < 2.6 ? 6 * 768e3 : 768e3;
    };
    EXPECT_EQ(found(hf, 6, pace), std::vector<double>{768e3});
}

TEST(ReceiversTest, KnowsThemByName) {
    EXPECT_EQ(receiverKind("AirSpyHF+").usualRate, 768e3);
    EXPECT_EQ(receiverKind("AirSpy").usualRate, 2.5e6);
    EXPECT_EQ(receiverKind("").usualRate, 768e3);
    EXPECT_GT(receiverKind("another").tunable.back().highest, 1e9);
}

TEST(ReceiversTest, NearestRateIsWithinOnePercent) {
    EXPECT_EQ(nearestRate(hf, 768e3 * 1.009), 768e3);
    EXPECT_EQ(nearestRate(hf, 768e3 * 1.011), 776448);
    EXPECT_EQ(nearestRate(airspy, 9.95e6), 10e6);
    EXPECT_EQ(nearestRate(airspy, 912300), 912300);
    EXPECT_EQ(nearestRate(receiverKind("unknown"), 2524000), 2.5e6);
    EXPECT_EQ(nearestRate(hf, 0), 0);
}

} // namespace
