// SPDX-License-Identifier: MIT
#include "tools/soapy/Formats.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

using namespace feedline::soapy;

namespace {

constexpr std::array<std::int16_t, 10> samples{0, 1, -1, 127, 128, 129, -128, 32767, -32768, 32639};

TEST(FormatsTest, KnowsItsNames) {
    for (const std::string& name : formatNames())
        EXPECT_TRUE(formatNamed(name)) << name;
    EXPECT_EQ(formatNames(), (std::vector<std::string>{"CS16", "CF32", "CS8"}));
    EXPECT_FALSE(formatNamed("CU8"));
    EXPECT_EQ(sizeOfPair(Format::cs16), 4U);
    EXPECT_EQ(sizeOfPair(Format::cf32), 8U);
    EXPECT_EQ(sizeOfPair(Format::cs8), 2U);
}

TEST(FormatsTest, Cs16IsWhatIsReceived) {
    std::array<std::int16_t, samples.size()> out{};
    convert(Format::cs16, samples, out.data());
    EXPECT_EQ(out, samples);
}

TEST(FormatsTest, Cf32IsExact) {
    std::array<float, samples.size()> out{};
    convert(Format::cf32, samples, out.data());
    for (std::size_t at = 0; at < out.size(); ++at)
        EXPECT_EQ(out[at] * 32768, samples[at]);
}

TEST(FormatsTest, Cs8IsRoundedAndDoesNotWrap) {
    std::array<std::int8_t, samples.size()> out{};
    convert(Format::cs8, samples, out.data());
    EXPECT_EQ(out, (std::array<std::int8_t, samples.size()>{0, 0, 0, 0, 1, 1, 0, 127, -128, 127}));
}

} // namespace
