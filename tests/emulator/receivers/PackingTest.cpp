#include "emulator/receivers/Packing.h"

#include <gtest/gtest.h>

#include <array>

using namespace feedline::emulator;

TEST(Packing, EightSamplesFillThreeWords) {
    const std::array<std::uint16_t, 8> samples{0x123, 0x456, 0x789, 0xABC,
                                               0xDEF, 0x321, 0x654, 0x987};
    std::array<std::uint8_t, 12> bytes{};
    packSamples(samples.data(), samples.size(), bytes.data());
    // Words 12345678, 9ABCDEF3, 21654987, low byte first.
    const std::array<std::uint8_t, 12> expected{0x78, 0x56, 0x34, 0x12, 0xF3, 0xDE,
                                                0xBC, 0x9A, 0x87, 0x49, 0x65, 0x21};
    EXPECT_EQ(bytes, expected);
}
