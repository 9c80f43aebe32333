// SPDX-License-Identifier: MIT
// The conversion of one float against its definition, worked out from the float's bits with
// integers alone. FEEDLINE_CONVERSION_STRIDE=1 goes through all 2^32 inputs (the long form);
// otherwise every 1021st, which meets every exponent and every low byte.
#include "Amount.h"
#include "MemoryServer.h"
#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <vector>

namespace feedline::test {
namespace {

constexpr std::uint64_t allInputs = std::uint64_t{1} << 32U;
constexpr std::size_t blockPairs = 2048;

/// Full scale times 32767 towards zero; the low 16 bits of what fits 32 bits with its sign, 0 for
/// what does not.
std::int16_t defined(std::uint32_t bits) {
    const bool negative = bits >> 31U != 0;
    const std::uint32_t exponent = bits >> 23U & 0xFFU;
    const std::uint64_t fraction = bits & 0x7FFFFFU;
    if (exponent == 0xFF)
        return 0; // infinite, or no number
    // The value is mantissa * 2^shift.
    const std::uint64_t mantissa = exponent != 0 ? fraction | 0x800000U : fraction;
    const int shift = static_cast<int>(exponent != 0 ? exponent : 1) - 150;
    const std::uint64_t product = mantissa * 32767; // 39 bits at most
    if (shift > 24 && product != 0)
        return 0; // far beyond 32 bits
    const std::uint64_t whole = shift >= 0    ? product << static_cast<unsigned>(shift)
                                : shift > -64 ? product >> static_cast<unsigned>(-shift)
                                              : 0;
    if (whole >= 0x80000000U)
        return 0;
    const auto magnitude = static_cast<std::uint32_t>(whole);
    return static_cast<std::int16_t>(
        static_cast<std::uint16_t>(negative ? 0U - magnitude : magnitude));
}

/// Hands bit patterns to the callback, block by block, and compares what it leaves in the ring.
class Conversion : public ::testing::Test {
public:
    ~Conversion() override {
        if (checked_ > 0)
            std::printf("%llu inputs\n", static_cast<unsigned long long>(checked_));
    }

protected:
    Conversion() {
        resetRunTimeState();
        EXPECT_TRUE(makeSampleRing());
        patterns_.reserve(2 * blockPairs);
    }

    void expectExact(std::uint32_t pattern) {
        patterns_.push_back(pattern);
        if (patterns_.size() == 2 * blockPairs)
            check();
    }

    /// The rest, filled up with zeros.
    void finish() {
        patterns_.resize(2 * blockPairs);
        check();
    }

private:
    void check() {
        std::vector<airspyhf_complex_float_t> block(blockPairs);
        for (std::size_t i = 0; i < blockPairs; ++i)
            block[i] = {std::bit_cast<float>(patterns_[2 * i]),
                        std::bit_cast<float>(patterns_[2 * i + 1])};
        airspyhf_transfer_t transfer{};
        transfer.samples = block.data();
        transfer.sample_count = blockPairs;
        ringWriteIndex = 0;
        airspyHfSampleCallback(&transfer);
        for (std::size_t i = 0; i < 2 * blockPairs; ++i)
            if (sampleRing[i] != defined(patterns_[i])) // Faster than an expectation that holds.
                ADD_FAILURE() << sampleRing[i] << " for " << std::hex << patterns_[i];
        checked_ += patterns_.size();
        patterns_.clear();
    }

    std::vector<std::uint32_t> patterns_;
    std::uint64_t checked_ = 0;
};

TEST_F(Conversion, IsExactForEveryInput) {
    const std::uint64_t stride = amount("FEEDLINE_CONVERSION_STRIDE", 1021);
    for (std::uint64_t next = 0; next < allInputs && !HasFailure(); next += stride)
        expectExact(static_cast<std::uint32_t>(next));
    finish();
}

TEST_F(Conversion, IsExactWhereTheResultChanges) {
    const auto expectAround = [this](std::uint32_t pattern) {
        for (std::uint32_t offset = 0; offset <= 6; ++offset)
            for (const std::uint32_t sign : {0U, 0x80000000U})
                expectExact((pattern + offset - 3) ^ sign);
    };
    for (std::uint32_t exponent = 0; exponent < 256; ++exponent)
        expectAround(exponent << 23U);
    for (std::uint32_t sample = 0; sample <= 70000; ++sample)
        expectAround(std::bit_cast<std::uint32_t>(static_cast<float>(sample) / 32767.0F));
    for (std::uint32_t n = 0; n < 64; ++n) // Where the product reaches 2^31.
        expectAround(std::bit_cast<std::uint32_t>(65537.0F + static_cast<float>(n) / 16.0F));
    finish();
}

} // namespace
} // namespace feedline::test
