// SPDX-License-Identifier: MIT
#include "emulator/control/Commands.h"

#include <gmock/gmock.h>

using namespace feedline::emulator;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

Config twoReceivers() {
    Config config;
    config.devices = {Kind::hf, Kind::airspy, Kind::hf};
    return config;
}

class CommandsTest : public testing::Test {
protected:
    std::string obey(const std::string& line) { return execute(bus, line); }

    Bus bus{twoReceivers()};
};

} // namespace

TEST_F(CommandsTest, DevicesAreNamedInTheirOrder) {
    EXPECT_EQ(obey("devices"), "ok hf airspy hf2");
    EXPECT_EQ(obey("unplug airspy"), "ok");
    EXPECT_EQ(obey("devices"), "ok hf airspy(unplugged) hf2");
    EXPECT_EQ(obey("plug airspy"), "ok");
    EXPECT_THAT(obey("state airspy"), HasSubstr(" plugged=1 "));
}

TEST_F(CommandsTest, StateIsOneLineOfWords) {
    EXPECT_THAT(obey("state hf"), StartsWith("ok device=hf serial=3B52EB5DAC35398D plugged=1"));
    EXPECT_THAT(obey("state hf2"), HasSubstr("serial=3B52EB5DAC35398E"));
    EXPECT_THAT(obey("state airspy"), HasSubstr(" vga-gain=8 "));
}

TEST_F(CommandsTest, FaultsAreTakenInEveryForm) {
    for (const char* line :
         {"fail hf request:2 io", "fail hf request:* stall at 3", "fail hf open access always",
          "fail hf transfer short:100", "fail hf transfer error at 2 always", "fail hf submit -1",
          "fail hf request:0x0E 2", "delay hf request:1 250 at 2", "hang hf request:12", "claim hf",
          "claim hf access", "release hf", "silence hf", "resume hf", "reset hf", "calls hf",
          "forget hf", "speed 2.5", "speed max"})
        EXPECT_THAT(obey(line), StartsWith("ok")) << line;
}

TEST_F(CommandsTest, WhatIsWrongIsSaid) {
    EXPECT_EQ(obey(""), "error no command");
    EXPECT_EQ(obey("dance hf"), "error unknown command: dance");
    EXPECT_EQ(obey("state"), "error which device?");
    EXPECT_EQ(obey("state hf9"), "error no such device: hf9");
    EXPECT_EQ(obey("fail hf lunch io"), "error unknown point: lunch");
    EXPECT_EQ(obey("fail hf request:x io"), "error not a number from 0 up: x");
    EXPECT_EQ(obey("fail hf open sulk"), "error unknown result: sulk");
    EXPECT_EQ(obey("fail hf transfer io"), "error unknown transfer result: io");
    EXPECT_EQ(obey("fail hf open io at 0"), "error calls are counted from 1");
    EXPECT_EQ(obey("fail hf open io sometimes"), "error expected at N or always: sometimes");
    EXPECT_EQ(obey("delay hf transfer 5"), "error a transfer cannot wait; use silence");
    EXPECT_EQ(obey("claim hf politely"), "error claim DEVICE [busy|access]");
    EXPECT_EQ(obey("speed 0"), "error speed FACTOR|max");
}
