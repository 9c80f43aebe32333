// SPDX-License-Identifier: MIT
// The screen and the JSON of a status.
#include "tools/ctl/StatusText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>

namespace feedline::ctl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

ServerStatus example() {
    ServerStatus status;
    status.program = "feedlined";
    status.version = "1.0.0";
    status.tcpStatus = "TCP Server: CONNECTED";
    status.remoteAddress = "Remote Address: 192.168.1.20";
    status.running = "AirSpyHF+ RUNNING";
    status.centerFrequency = "Center Frequency: 7100.000 kHz";
    status.listening = true;
    status.alert = "AirSpyHF+ set frequency fail";
    status.alertTime = 1795251600123456;
    status.port = "50000";
    status.address = "127.0.0.1";
    status.devices = {"AirSpyHF+", "AirSpy"};
    status.device = "AirSpy";
    status.openDevice = "AirSpy";
    status.heldDevices = {"AirSpy"};
    status.gain = {1, 0, 14, 3, 12, 0, 21};
    return status;
}

TEST(CtlStatus, FillsOneScreen) {
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(statusScreen(example()), R"(feedlined 1.0.0 on the session bus
TCP Server: CONNECTED
Remote Address: 192.168.1.20
AirSpyHF+ RUNNING
Center Frequency: 7100.000 kHz

Listening     yes
Device        AirSpy (open)
Port          50000
UDP address   127.0.0.1

LNA AGC       on
Mixer AGC     off
LNA           14 of 14
Mixer         3 of 15
VGA           12 of 15
Linearity     0 of 21
Sensitivity   21 of 21

Last alert    2026-11-21 09:00:00  AirSpyHF+ set frequency fail
)");
}

TEST(CtlStatus, TellsTheChosenDeviceFromTheOpenOne) {
    ServerStatus status = example();
    status.device = "AirSpyHF+";
    EXPECT_THAT(statusScreen(status), HasSubstr("Device        AirSpyHF+ (AirSpy is open)\n"));
    status.openDevice = "";
    EXPECT_THAT(statusScreen(status), HasSubstr("Device        AirSpyHF+ (none is open)\n"));
    status.device = "";
    EXPECT_THAT(statusScreen(status), HasSubstr("Device        No receiver (none is open)\n"));
}

TEST(CtlStatus, SaysNothingOfAlertsWhereThereWereNone) {
    ServerStatus status = example();
    status.alert = "";
    EXPECT_THAT(statusScreen(status), Not(HasSubstr("alert")));
    EXPECT_EQ(nlohmann::json::parse(statusJson(status))["last_alert"], nullptr);
}

TEST(CtlStatus, LetsNoTextMoveTheCursor) {
    ServerStatus status = example();
    status.address = "\033[2J\r\n1.2.3.4";
    status.alert = "a\x07lert";
    const std::string screen = statusScreen(status);
    EXPECT_THAT(screen, HasSubstr("UDP address   ?[2J??1.2.3.4\n"));
    EXPECT_THAT(screen, HasSubstr("a?lert\n"));
}

TEST(CtlStatus, IsOneJsonObject) {
    const std::string text = statusJson(example());
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(text), nlohmann::json::parse(R"({
        "program": "feedlined", "version": "1.0.0", "bus": "session",
        "tcp_status": "TCP Server: CONNECTED", "remote_address": "Remote Address: 192.168.1.20",
        "running": "AirSpyHF+ RUNNING", "center_frequency": "Center Frequency: 7100.000 kHz",
        "listening": true,
        "last_alert": {"text": "AirSpyHF+ set frequency fail", "time": "2026-11-21T09:00:00Z"},
        "port": "50000", "address": "127.0.0.1", "devices": ["AirSpyHF+", "AirSpy"],
        "device": "AirSpy", "open_device": "AirSpy", "held_devices": ["AirSpy"],
        "gains": {"lna_agc": true, "mixer_agc": false, "lna": 14, "mixer": 3, "vga": 12,
                  "linearity": 0, "sensitivity": 21}})"));
}

TEST(CtlStatus, JsonHasNullForWhatIsNone) {
    ServerStatus status = example();
    status.onSystemBus = true;
    status.device = "";
    status.openDevice = "";
    const auto json = nlohmann::json::parse(statusJson(status));
    EXPECT_EQ(json["bus"], "system");
    EXPECT_EQ(json["device"], nullptr);
    EXPECT_EQ(json["open_device"], nullptr);
}

} // namespace
} // namespace feedline::ctl
