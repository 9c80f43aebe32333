// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/Token.h"

#include <gtest/gtest.h>

using feedline::hub::web::sameToken;

namespace {

TEST(TokenTest, OnlyTheSameIsTheSame) {
    EXPECT_TRUE(sameToken("secret", "secret"));
    for (const char* const wrong :
         {"", "s", "secre", "secrets", "Secret", "secreT", "secretsecret"})
        EXPECT_FALSE(sameToken(wrong, "secret")) << wrong;
}

TEST(TokenTest, NoTokenIsNobodys) {
    EXPECT_FALSE(sameToken("", ""));
    EXPECT_FALSE(sameToken("x", ""));
}

} // namespace
