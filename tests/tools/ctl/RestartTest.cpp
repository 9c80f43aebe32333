// SPDX-License-Identifier: MIT
// When Restart is safe, and what is said when it is not.
#include "tools/ctl/Restart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace feedline::ctl {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

/// A client is served by an AirSpy, and the HF+ has been chosen.
ServerStatus safe() {
    ServerStatus status;
    status.program = "feedlined";
    status.tcpStatus = "TCP Server: CONNECTED";
    status.listening = true;
    status.devices = {"AirSpyHF+", "AirSpy"};
    status.device = "AirSpyHF+";
    status.openDevice = "AirSpy";
    status.heldDevices = {"AirSpy"};
    return status;
}

TEST(CtlRestart, IsSafeUnderAClientForAReceiverOfAnotherKind) {
    EXPECT_EQ(reasonAgainstRestart(safe()), "");
}

TEST(CtlRestart, WithoutAClientWouldEndListening) {
    ServerStatus status = safe();
    status.tcpStatus = "TCP Server: WAITING FOR CONNECT";
    EXPECT_THAT(reasonAgainstRestart(status),
                AllOf(StartsWith("no client is connected"),
                      EndsWith("; instead: systemctl --user restart feedlined")));
}

TEST(CtlRestart, OfAServerThatDoesNotListenHelpsNobody) {
    ServerStatus status = safe();
    status.listening = false; // The line may be a second old.
    EXPECT_THAT(reasonAgainstRestart(status), StartsWith("nothing listens"));
}

TEST(CtlRestart, CannotOpenWhatTheProcessHolds) {
    ServerStatus status = safe();
    status.device = "AirSpy";
    EXPECT_THAT(reasonAgainstRestart(status), StartsWith("the server holds the AirSpy already"));
    status = safe();
    status.heldDevices = {"AirSpyHF+", "AirSpy"}; // Chosen, left and chosen again.
    EXPECT_THAT(reasonAgainstRestart(status), StartsWith("the server holds the AirSpyHF+ already"));
}

TEST(CtlRestart, TheWayOutIsThatOfTheProgram) {
    ServerStatus status = safe();
    EXPECT_EQ(newStart(status), "systemctl --user restart feedlined");
    EXPECT_EQ(start(status), "systemctl --user start feedlined");
    status.onSystemBus = true;
    EXPECT_EQ(newStart(status), "sudo systemctl restart feedlined");
    EXPECT_EQ(start(status), "sudo systemctl start feedlined");
    status = safe();
    status.program = "feedline";
    EXPECT_EQ(newStart(status), "close its window and start feedline again");
    EXPECT_EQ(start(status), "start feedline");
}

TEST(CtlDevice, GoesByItsTitleOrAWordForIt) {
    const std::vector<std::string> devices{"AirSpyHF+", "AirSpy"};
    EXPECT_EQ(deviceTitle("hf", devices), "AirSpyHF+");
    EXPECT_EQ(deviceTitle("HF", devices), "AirSpyHF+");
    EXPECT_EQ(deviceTitle("airspyhf+", devices), "AirSpyHF+");
    EXPECT_EQ(deviceTitle("airspy", devices), "AirSpy");
    EXPECT_EQ(deviceTitle("AirSpy", devices), "AirSpy");
    for (const char* bad : {"", "air", "hf+", "0"})
        EXPECT_EQ(deviceTitle(bad, devices), "") << bad;
}

} // namespace
} // namespace feedline::ctl
