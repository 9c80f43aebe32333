// SPDX-License-Identifier: MIT
// The soak's judge must find what it is there to find.
#include "ToneCheck.h"

#include <gtest/gtest.h>

#include <cmath>

namespace feedline::test {
namespace {

constexpr double turnsPerPair = 0.0917;

/// A tone as a receiver gives it: rounded to integers.
struct Stream {
    ToneCheck check;
    std::int64_t position = 0;

    ToneCheck::Pairs next() {
        ToneCheck::Pairs pairs;
        for (std::size_t n = 0; n < datagram::pairs; ++n) {
            const double angle =
                2 * M_PI * std::fmod(turnsPerPair * static_cast<double>(position++), 1);
            pairs.re[n] = static_cast<float>(std::round(3000 * std::cos(angle)));
            pairs.im[n] = static_cast<float>(std::round(3000 * std::sin(angle)));
        }
        return pairs;
    }
    void settle() {
        for (std::uint64_t i = 0; i < ToneCheck::settling + 1000; ++i)
            ASSERT_TRUE(check.take(next(), false));
    }
};

TEST(ToneCheck, FindsNoFaultInAWholeStream) {
    Stream stream;
    stream.settle();
    EXPECT_EQ(stream.check.checked(), 1000U);
    EXPECT_EQ(stream.check.errors(), 0U);
}

TEST(ToneCheck, FindsOnePairLostAndOneRepeated) {
    for (const int shift : {1, -1, 256, -256, 2048, 65536}) {
        Stream stream;
        stream.settle();
        stream.position += shift;
        EXPECT_FALSE(stream.check.take(stream.next(), false)) << shift;
        EXPECT_TRUE(stream.check.take(stream.next(), false)) << shift;
    }
}

TEST(ToneCheck, FindsOneWrongEntry) {
    Stream stream;
    stream.settle();
    auto pairs = stream.next();
    pairs.re[17] += 400;
    EXPECT_FALSE(stream.check.take(pairs, false));
}

TEST(ToneCheck, FindsSilence) {
    Stream stream;
    stream.settle();
    EXPECT_FALSE(stream.check.take({}, false));
}

TEST(ToneCheck, StartsAnewAfterAKnownGap) {
    Stream stream;
    stream.settle();
    stream.position += 777;
    EXPECT_TRUE(stream.check.take(stream.next(), true));
    EXPECT_TRUE(stream.check.take(stream.next(), false));
}

} // namespace
} // namespace feedline::test
