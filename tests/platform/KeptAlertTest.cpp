// SPDX-License-Identifier: MIT
// The last alert, for those who were not there to see it.
#include "platform/KeptAlert.h"

#include "MemoryPlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace feedline::test {
namespace {

using ::testing::ElementsAre;

std::uint64_t now() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
}

struct KeptAlertTest : ::testing::Test {
    RecordingAlert shown;
    ManualMainThread mainThread;
    KeptAlert alert{shown, mainThread};
};

TEST_F(KeptAlertTest, ThereIsNoneAtFirst) {
    EXPECT_EQ(alert.last(), (AlertRecord{"", 0}));
}

TEST_F(KeptAlertTest, IsShownAndKeptWithItsTime) {
    const std::uint64_t before = now();
    alert.runModal("No AirSpyHF+ found", "Is it plugged in?");
    EXPECT_THAT(shown.shown(),
                ElementsAre(RecordingAlert::Shown{"No AirSpyHF+ found", "Is it plugged in?"}));
    EXPECT_EQ(alert.last().text, "No AirSpyHF+ found - Is it plugged in?");
    EXPECT_GE(alert.last().shownAt, before);
    EXPECT_LE(alert.last().shownAt, now());
}

TEST_F(KeptAlertTest, WithoutInformationTheMessageStandsAlone) {
    alert.runModal("first", "with more");
    alert.runModal("Could not open AirSpyHF+", "");
    EXPECT_EQ(alert.last().text, "Could not open AirSpyHF+");
}

TEST_F(KeptAlertTest, IsKnownWhileItIsStillShown) {
    std::string known;
    shown.whileUp = [&] {
        known = alert.last().text;
    };
    alert.runModal("m", "i");
    EXPECT_EQ(known, "m - i");
}

TEST_F(KeptAlertTest, IsToldOnTheMainThreadWhicheverThreadItComesFrom) {
    std::thread::id told;
    alert.onAlert = [&] {
        told = std::this_thread::get_id();
    };
    std::thread([this] { alert.runModal("m", ""); }).join();
    EXPECT_EQ(told, std::thread::id{});
    mainThread.runTasks();
    EXPECT_EQ(told, std::this_thread::get_id());
}

} // namespace
} // namespace feedline::test
