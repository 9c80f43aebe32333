// SPDX-License-Identifier: MIT
#include "MemoryServer.h"
#include "RingMemory.h"
#include "SingleSteps.h"
#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <vector>

namespace feedline {
namespace {

using Pair = airspyhf_complex_float_t;

int deliver(Pair* pairs, int count) {
    airspyhf_transfer_t transfer{};
    transfer.samples = pairs;
    transfer.sample_count = count;
    return airspyHfSampleCallback(&transfer);
}

int deliver(std::vector<Pair>& pairs) {
    return deliver(pairs.data(), static_cast<int>(pairs.size()));
}

std::int16_t entry(std::int32_t index) {
    return static_cast<const std::int16_t*>(sampleRing)[index];
}

class HfSampleCallback : public ::testing::Test {
public:
    ~HfSampleCallback() override { test::resetRunTimeState(); }

    static std::int16_t sampleOf(float value) {
        ringWriteIndex = 0;
        Pair pair{value, 0};
        deliver(&pair, 1);
        return entry(0);
    }

protected:
    HfSampleCallback() {
        test::resetRunTimeState();
        EXPECT_TRUE(makeSampleRing());
    }
};

TEST_F(HfSampleCallback, FullScaleIs32767TowardsZeroWithoutClamping) {
    EXPECT_EQ(sampleOf(1.0F), 32767);
    EXPECT_EQ(sampleOf(-1.0F), -32767);
    EXPECT_EQ(sampleOf(0.5F), 16383);
    EXPECT_EQ(sampleOf(-0.5F), -16383);
    EXPECT_EQ(sampleOf(1.5F), -16386);
    EXPECT_EQ(sampleOf(-1.5F), 16386);
    EXPECT_EQ(sampleOf(0.0F), 0);
    EXPECT_EQ(sampleOf(-0.0F), 0);
    EXPECT_EQ(sampleOf(2.0F), -2);
}

TEST_F(HfSampleCallback, WhatIsNoNumberBecomesZero) {
    using Limits = std::numeric_limits<float>;
    EXPECT_EQ(sampleOf(Limits::quiet_NaN()), 0);
    EXPECT_EQ(sampleOf(-Limits::quiet_NaN()), 0);
    EXPECT_EQ(sampleOf(std::bit_cast<float>(0x7F800001U)), 0);
    EXPECT_EQ(sampleOf(Limits::infinity()), 0);
    EXPECT_EQ(sampleOf(-Limits::infinity()), 0);
}

TEST_F(HfSampleCallback, WhatDoesNotFit32BitsBecomesZero) {
    using Limits = std::numeric_limits<float>;
    EXPECT_EQ(sampleOf(Limits::max()), 0);
    EXPECT_EQ(sampleOf(Limits::lowest()), 0);
    EXPECT_EQ(sampleOf(65538.01F), 0);
    // 65538 * 32767 is 2 short of 2^31, the largest float below it that fits; its low 16 bits stay.
    EXPECT_EQ(sampleOf(65538.0F), -2);
    EXPECT_EQ(sampleOf(-65538.0F), 2);
}

TEST_F(HfSampleCallback, WhatIsTooSmallBecomesZero) {
    using Limits = std::numeric_limits<float>;
    EXPECT_EQ(sampleOf(Limits::denorm_min()), 0);
    EXPECT_EQ(sampleOf(-Limits::denorm_min()), 0);
    EXPECT_EQ(sampleOf(Limits::min()), 0);
    EXPECT_EQ(sampleOf(0.99F / 32767.0F), 0);
    EXPECT_EQ(sampleOf(-0.99F / 32767.0F), 0);
    EXPECT_EQ(sampleOf(1.01F / 32767.0F), 1);
}

TEST_F(HfSampleCallback, BlockWithoutSamplesWritesNothing) {
    ringWriteIndex = 100;
    Pair pair{1.0F, 1.0F};
    for (const int count : {0, -1, std::numeric_limits<int>::min()})
        EXPECT_EQ(deliver(&pair, count), 0);
    EXPECT_EQ(ringWriteIndex, 100);
    EXPECT_EQ(entry(100), 0);
}

TEST_F(HfSampleCallback, ReturnsZeroAndWritesRealThenImaginary) {
    ringWriteIndex = 100;
    std::vector<Pair> pairs{{1.0F, -1.0F}, {0.5F, 0.25F}};
    EXPECT_EQ(deliver(pairs), 0);
    EXPECT_EQ(ringWriteIndex, 104);
    EXPECT_EQ(entry(99), 0);
    EXPECT_EQ(entry(100), 32767);
    EXPECT_EQ(entry(101), -32767);
    EXPECT_EQ(entry(102), 16383);
    EXPECT_EQ(entry(103), 8191);
    EXPECT_EQ(entry(104), 0);
}

TEST_F(HfSampleCallback, PairAtTheLastTwoEntriesBringsTheIndexToZero) {
    ringWriteIndex = 0xFFFFFE;
    Pair pair{1.0F, -1.0F};
    deliver(&pair, 1);
    EXPECT_EQ(entry(0xFFFFFE), 32767);
    EXPECT_EQ(entry(0xFFFFFF), -32767);
    EXPECT_EQ(ringWriteIndex, 0);
    EXPECT_EQ(entry(0), 0);
}

TEST_F(HfSampleCallback, BlockGoesOnAtTheRingsStart) {
    ringWriteIndex = 0xFFFFFE;
    std::vector<Pair> pairs{{1.0F, -1.0F}, {0.5F, -0.5F}};
    deliver(pairs);
    EXPECT_EQ(entry(0), 16383);
    EXPECT_EQ(entry(1), -16383);
    EXPECT_EQ(ringWriteIndex, 2);
}

TEST_F(HfSampleCallback, TouchesNeitherTheReaderNorTheAirspysCount) {
    ringReadIndex = 512;
    std::vector<Pair> pairs(1000, Pair{1.0F, 1.0F});
    deliver(pairs);
    EXPECT_EQ(ringReadIndex, 512);
    EXPECT_EQ(samplesStreamed, 0);
}

/// Pairs that convert to 1 and -1, 2 and -2, and so on.
std::vector<Pair> numberedPairs(int count) {
    std::vector<Pair> pairs;
    for (int number = 1; number <= count; ++number) {
        const float value = (static_cast<float>(number) + 0.5F) / 32767.0F;
        pairs.push_back({value, -value});
    }
    return pairs;
}

TEST_F(HfSampleCallback, BlocksOfEveryLengthAtEveryPlaceLeaveTheirPairsAndNothingElse) {
    constexpr int around = 40; // pairs on either side of the ring's end
    for (int length = 1; length <= around; ++length) {
        std::vector<Pair> pairs = numberedPairs(length);
        for (int before = 0; before <= around; ++before) {
            const auto entryOf = [before](int pair) {
                return (ringEntries + 2 * (pair - before)) % ringEntries;
            };
            for (int pair = -1; pair <= length; ++pair)
                for (const int part : {0, 1})
                    test::storeEntry(entryOf(pair) + part, 777);
            ringWriteIndex = entryOf(0);
            deliver(pairs);
            ASSERT_EQ(ringWriteIndex, entryOf(length)) << length << " pairs, " << before;
            for (int pair = -1; pair <= length; ++pair) {
                const bool written = pair >= 0 && pair < length;
                ASSERT_EQ(entry(entryOf(pair)), written ? pair + 1 : 777) << before;
                ASSERT_EQ(entry(entryOf(pair) + 1), written ? -pair - 1 : 777) << before;
            }
        }
    }
}

#ifdef FEEDLINE_SINGLE_STEPS
/// What the ring shows while the callback runs, instruction by instruction.
struct Publications {
    /// The index before the block and after each change of it.
    static inline std::vector<std::int32_t> indices;
    /// The entries just before each of those, at the moment of its change.
    static inline std::vector<std::array<std::int16_t, 2>> covered;

    static void of(std::vector<Pair>& pairs) {
        indices.clear();
        covered.clear();
        indices.reserve(2 * pairs.size() + 1); // Looking may not allocate.
        covered.reserve(2 * pairs.size());
        indices.push_back(ringWriteIndex);
        test::inSingleSteps(look, [&] { deliver(pairs); });
    }

private:
    static bool look() {
        const std::int32_t index = ringWriteIndex.load(std::memory_order_relaxed);
        if (index == indices.back() || indices.size() == indices.capacity())
            return true;
        const std::int32_t pair = indices.back();
        covered.push_back({entry(pair), entry(pair + 1)});
        indices.push_back(index);
        return true;
    }
};

TEST_F(HfSampleCallback, IndexIsPublishedAfterEveryPairAndNeverBeforeIt) {
    constexpr std::int32_t count = 100;
    std::int32_t index = ringEntries - 90; // So that the ring's end is among them.
    ringWriteIndex = index;
    std::vector<Pair> pairs = numberedPairs(count);
    Publications::of(pairs);
    ASSERT_EQ(Publications::indices.size(), count + 1U);
    for (std::int32_t pair = 0; pair < count; ++pair) {
        index = nextPair(index);
        const auto at = static_cast<std::size_t>(pair);
        EXPECT_EQ(Publications::indices[at + 1], index);
        EXPECT_EQ(Publications::covered[at][0], pair + 1);
        EXPECT_EQ(Publications::covered[at][1], -pair - 1);
    }
}
#endif

} // namespace
} // namespace feedline
