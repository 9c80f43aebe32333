// SPDX-License-Identifier: MIT
#include "tools/gains/ThisMachine.h"

#include <gtest/gtest.h>

#include <array>
#include <unistd.h>

namespace feedline::gains {
namespace {

TEST(ThisMachine, IsWhatLeadsBackHere) {
    EXPECT_TRUE(isThisMachine("127.0.0.1"));
    EXPECT_TRUE(isThisMachine("127.3.2.1"));
    EXPECT_TRUE(isThisMachine("localhost"));
    std::array<char, 256> name{};
    ASSERT_EQ(gethostname(name.data(), name.size() - 1), 0);
    EXPECT_TRUE(isThisMachine(name.data()));
}

TEST(ThisMachine, IsNoOtherAddressAndNoOtherName) {
    EXPECT_FALSE(isThisMachine("192.0.2.1"));
    EXPECT_FALSE(isThisMachine("2001:db8::1"));
    EXPECT_FALSE(isThisMachine("receiver.example"));
    EXPECT_FALSE(isThisMachine(""));
}

} // namespace
} // namespace feedline::gains
