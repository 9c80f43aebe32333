// SPDX-License-Identifier: MIT
#include "devices/RateLists.h"

#include "RecordingLog.h"

#include <gtest/gtest.h>

#include <array>

namespace feedline::test {
namespace {

TEST(RateLists, AListIsZeroedAndWritableToItsEnd) {
    std::uint32_t* const rates = newRateList(1000);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(rates[i], 0U);
    rates[999] = 1;
}

TEST(RateLists, AListOfNoneHasRoomForTheWordTheLibrariesWrite) {
    std::uint32_t* const rates = newRateList(0);
    EXPECT_EQ(*rates, 0U);
    *rates = 12345; // Caught by the address sanitizer if there is no room.
    EXPECT_EQ(*rates, 12345U);
}

TEST(RateLists, EarlierListsAreKept) {
    std::uint32_t* const first = newRateList(2);
    first[1] = 384000;
    std::uint32_t* const second = newRateList(2);
    second[1] = 2500000;
    EXPECT_NE(first, second);
    EXPECT_EQ(first[1], 384000U);
}

TEST(RateLists, EveryRateHasItsLine) {
    const std::array<std::uint32_t, 3> rates{768000, 0, 0xFFFFFFFF};
    clearRecordedLines();
    logRates(rates.data(), 3);
    EXPECT_EQ(recordedLines(), (std::vector<Line>{logged("rate 0  768000"), logged("rate 1  0"),
                                                  logged("rate 2  -1")}));
}

TEST(RateLists, NoRateHasNoLine) {
    clearRecordedLines();
    logRates(newRateList(0), 0);
    EXPECT_EQ(recordedLines(), std::vector<Line>{});
}

} // namespace
} // namespace feedline::test
