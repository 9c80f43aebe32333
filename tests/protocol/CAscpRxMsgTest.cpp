// SPDX-License-Identifier: MIT
#include "protocol/CAscpRxMsg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <initializer_list>

namespace feedline {
namespace {

CAscpRxMsg messageOf(std::initializer_list<std::uint8_t> bytes) {
    CAscpRxMsg message;
    std::copy(bytes.begin(), bytes.end(), message.Buf8.begin());
    return message;
}

TEST(CAscpRxMsg, StartsZeroed) {
    const CAscpRxMsg message;
    EXPECT_EQ(message.Buf8, (std::array<std::uint8_t, 8194>{}));
    EXPECT_EQ(message.Length, 0);
    EXPECT_EQ(message.tmp16, 0);
    EXPECT_EQ(message.tmp32, 0);
}

TEST(CAscpRxMsg, TypeLosesTheLengthBitsAndKeepsItsPlace) {
    EXPECT_EQ(messageOf({0, 0x3F}).GetType(), 0x20);
    EXPECT_EQ(messageOf({0, 0x1F}).GetType(), 0x00);
    EXPECT_EQ(messageOf({0, 0xFF}).GetType(), 0xE0);
}

TEST(CAscpRxMsg, LengthIsTheFirstByteAlone) {
    EXPECT_EQ(messageOf({0x04, 0x01}).GetLength(), 4);
    EXPECT_EQ(messageOf({0xFF, 0xFF}).GetLength(), 255);
}

TEST(CAscpRxMsg, ItemCodeIsLittleEndianAndLeavesTheCursor) {
    CAscpRxMsg message = messageOf({4, 0, 0xB8, 0x12});
    message.InitRxMsg();
    EXPECT_EQ(message.GetCItem(), 0x12B8);
    EXPECT_EQ(message.Length, 4);
}

TEST(CAscpRxMsg, Parm32IsLittleEndianAndMovesTheCursorByFour) {
    CAscpRxMsg message = messageOf({8, 0, 0x20, 0, 1, 2, 3, 4});
    message.InitRxMsg();
    EXPECT_EQ(message.GetParm32(), 0x04030201U);
    EXPECT_EQ(message.Length, 8);
    EXPECT_EQ(message.tmp32, 0x04030201);
}

TEST(CAscpRxMsg, ParametersAreReadInTurnWithTheirHighBitsWhole) {
    CAscpRxMsg message = messageOf({11, 0, 0x20, 0, 0x80, 0xFE, 0xFF, 0xFC, 0xFD, 0xFE, 0xFF});
    message.InitRxMsg();
    EXPECT_EQ(message.GetParm8(), 0x80);
    EXPECT_EQ(message.GetParm16(), 0xFFFE);
    EXPECT_EQ(message.tmp16, -2);
    EXPECT_EQ(message.GetParm32(), 0xFFFEFDFCU);
    EXPECT_EQ(message.Length, 11);
}

TEST(CAscpRxMsg, EachWidthAssemblesInItsOwnScratchValue) {
    CAscpRxMsg message = messageOf({11, 0, 0x20, 0, 0x34, 0x12, 1, 2, 3, 4, 5});
    message.InitRxMsg();
    message.GetParm16();
    EXPECT_EQ(message.tmp16, 0x1234);
    EXPECT_EQ(message.tmp32, 0);
    message.GetParm32();
    EXPECT_EQ(message.tmp16, 0x1234);
    EXPECT_EQ(message.tmp32, 0x04030201);
    message.GetParm8();
    EXPECT_EQ(message.tmp16, 0x1234);
    EXPECT_EQ(message.tmp32, 0x04030201);
}

TEST(CAscpRxMsg, ReadsBeyondTheMessageWhatTheBufferStillHolds) {
    CAscpRxMsg message = messageOf({5, 0, 0x18, 0, 1, 77});
    message.InitRxMsg();
    message.GetParm8();
    EXPECT_EQ(message.GetParm8(), 77);
}

TEST(CAscpRxMsg, InitEmptiesTheHeaderWhateverItsArgument) {
    CAscpRxMsg message = messageOf({9, 0x20});
    message.init(1234);
    EXPECT_EQ(message.Buf8[0], 0);
    EXPECT_EQ(message.Buf8[1], 0x20);
}

} // namespace
} // namespace feedline
