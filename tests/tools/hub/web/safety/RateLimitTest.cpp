// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/RateLimit.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using feedline::hub::web::RateLimit;

namespace {

constexpr RateLimit::Clock::time_point start{};

TEST(RateLimitTest, ABurstIsAllowedOnce) {
    RateLimit limit(10, 5, start);
    for (int times = 0; times < 5; ++times)
        EXPECT_TRUE(limit.take(start));
    EXPECT_FALSE(limit.take(start));
}

TEST(RateLimitTest, TimeAllowsMore) {
    RateLimit limit(10, 1, start);
    EXPECT_TRUE(limit.take(start));
    EXPECT_FALSE(limit.take(start + 99ms));
    EXPECT_TRUE(limit.take(start + 201ms));
    EXPECT_FALSE(limit.take(start + 202ms));
}

TEST(RateLimitTest, APauseAllowsNoMoreThanABurst) {
    RateLimit limit(10, 3, start);
    int taken = 0;
    while (limit.take(start + 1h))
        ++taken;
    EXPECT_EQ(taken, 3);
}

} // namespace
