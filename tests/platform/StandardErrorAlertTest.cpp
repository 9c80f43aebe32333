// SPDX-License-Identifier: MIT
#include "platform/StandardErrorAlert.h"

#include <gtest/gtest.h>

namespace feedline {
namespace {

std::string shown(const std::string& message, const std::string& information) {
    ::testing::internal::CaptureStderr();
    StandardErrorAlert().runModal(message, information);
    return ::testing::internal::GetCapturedStderr();
}

TEST(StandardErrorAlert, WritesTheMessageAndTheInformationAsOneLine) {
    EXPECT_EQ(shown("No AirSpyHF+ found", "Is it plugged in?"),
              "ALERT: No AirSpyHF+ found - Is it plugged in?\n");
}

TEST(StandardErrorAlert, WritesTheMessageAloneWithoutInformation) {
    EXPECT_EQ(shown("Could not open AirSpyHF+", ""), "ALERT: Could not open AirSpyHF+\n");
}

} // namespace
} // namespace feedline
