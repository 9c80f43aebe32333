// The conversion of one float against its definition, worked out from the float's bits with
// integers alone. FEEDLINE_CONVERSION_STRIDE=1 goes through all 2^32 inputs (the long form);
// otherwise every 257th, which meets every exponent and every low byte.
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

TEST(Conversion, IsExactForEveryInput) {
    resetRunTimeState();
    ASSERT_TRUE(makeSampleRing());
    const std::uint64_t stride = amount("FEEDLINE_CONVERSION_STRIDE", 1021);
    std::vector<airspyhf_complex_float_t> block(blockPairs);
    airspyhf_transfer_t transfer{};
    transfer.samples = block.data();
    transfer.sample_count = blockPairs;
    std::uint64_t checked = 0;
    for (std::uint64_t next = 0; next < allInputs;) {
        const std::uint64_t first = next;
        for (auto& pair : block)
            for (float* value : {&pair.re, &pair.im}) {
                *value = std::bit_cast<float>(static_cast<std::uint32_t>(next));
                next += stride;
            }
        ringWriteIndex = 0;
        airspyHfSampleCallback(&transfer);
        for (std::size_t i = 0; i < 2 * blockPairs; ++i, ++checked) {
            const auto bits = static_cast<std::uint32_t>(first + i * stride);
            ASSERT_EQ(sampleRing[i], defined(bits)) << std::hex << bits;
        }
    }
    std::printf("%llu inputs, all exact\n", static_cast<unsigned long long>(checked));
}

} // namespace
} // namespace feedline::test
