// SPDX-License-Identifier: MIT
#include "emulator/bus/Config.h"

#include <gmock/gmock.h>

#include <map>

using namespace feedline::emulator;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

struct Read {
    Config config;
    std::vector<std::string> complaints;
};

Read readWith(const std::map<std::string, std::string>& environment) {
    Read read;
    read.config = readConfig(
        [&](const char* name) {
            const auto found = environment.find(name);
            return found == environment.end() ? nullptr : found->second.c_str();
        },
        [&](const std::string& line) { read.complaints.push_back(line); });
    return read;
}

} // namespace

TEST(Config, ByDefaultThereIsOneHf) {
    const Read read = readWith({});
    EXPECT_THAT(read.config.devices, ElementsAre(Kind::hf));
    EXPECT_EQ(read.config.speed, 1);
    EXPECT_EQ(read.config.hfRates.at(0).rate, 768000U);
    EXPECT_THAT(read.config.airspyRates, ElementsAre(10000000U, 2500000U));
    EXPECT_FALSE(read.config.scene.signals.empty());
    EXPECT_THAT(read.complaints, IsEmpty());
}

TEST(Config, DevicesAreAListAndMayBeNone) {
    EXPECT_THAT(readWith({{"FEEDLINE_EMULATOR_DEVICES", "hf, airspy,hf"}}).config.devices,
                ElementsAre(Kind::hf, Kind::airspy, Kind::hf));
    EXPECT_THAT(readWith({{"FEEDLINE_EMULATOR_DEVICES", "none"}}).config.devices, IsEmpty());
    EXPECT_THAT(readWith({{"FEEDLINE_EMULATOR_DEVICES", ""}}).config.devices, IsEmpty());
}

TEST(Config, RatesMayBeLowIfSingleOrNone) {
    const Read read = readWith({{"FEEDLINE_EMULATOR_RATES_HF", "192k:low,768k"},
                                {"FEEDLINE_EMULATOR_RATES_AIRSPY", "6M"}});
    EXPECT_EQ(read.config.hfRates.at(0).rate, 192000U);
    EXPECT_TRUE(read.config.hfRates.at(0).lowIf);
    EXPECT_FALSE(read.config.hfRates.at(1).lowIf);
    EXPECT_THAT(read.config.airspyRates, ElementsAre(6000000U));
    EXPECT_THAT(readWith({{"FEEDLINE_EMULATOR_RATES_HF", "none"}}).config.hfRates, IsEmpty());
}

TEST(Config, SpeedIsAFactorOrMax) {
    EXPECT_EQ(readWith({{"FEEDLINE_EMULATOR_SPEED", "8"}}).config.speed, 8);
    EXPECT_EQ(readWith({{"FEEDLINE_EMULATOR_SPEED", "max"}}).config.speed, 0);
}

TEST(Config, WithoutPatienceTheClockNeverWaits) {
    EXPECT_EQ(readWith({{"FEEDLINE_EMULATOR_PATIENCE", "8"}}).config.patience,
              std::chrono::milliseconds(8));
    EXPECT_EQ(readWith({{"FEEDLINE_EMULATOR_PATIENCE", "0.5"}}).config.patience,
              std::chrono::microseconds(500));
    EXPECT_EQ(readWith({}).config.patience, std::nullopt);
}

TEST(Config, WhatCannotBeUsedIsSaidInOneLineAndTheDefaultStands) {
    const std::map<std::string, std::string> bad{
        {"FEEDLINE_EMULATOR_DEVICES", "hf,radio"},   {"FEEDLINE_EMULATOR_SCENE", "/no/such/file"},
        {"FEEDLINE_EMULATOR_RECORDING", "/no/file"}, {"FEEDLINE_EMULATOR_SPEED", "0"},
        {"FEEDLINE_EMULATOR_RATES_HF", "fast"},      {"FEEDLINE_EMULATOR_RATES_AIRSPY", "10"},
        {"FEEDLINE_EMULATOR_PATIENCE", "-1"}};
    for (const auto& entry : bad) {
        const Read read = readWith({entry});
        ASSERT_EQ(read.complaints.size(), 1U) << entry.first;
        EXPECT_THAT(read.complaints[0], HasSubstr(entry.first + ": "));
        EXPECT_THAT(read.config.devices, ElementsAre(Kind::hf));
        EXPECT_EQ(read.config.speed, 1);
        EXPECT_EQ(read.config.hfRates.size(), 3U);
        EXPECT_EQ(read.config.airspyRates.size(), 2U);
        EXPECT_FALSE(read.config.patience);
        EXPECT_FALSE(read.config.recording);
        EXPECT_FALSE(read.config.scene.signals.empty());
    }
}
