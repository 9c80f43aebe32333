// SPDX-License-Identifier: MIT
// What the four status lines say until the controller's first tick, a second after launch.
#pragma once

namespace feedline {

constexpr auto firstTcpStatus = "TCP Server: WAITING FOR CONNECT";
constexpr auto firstRemoteAddress = "Remote Address: NOT CONNECTED";
constexpr auto firstRunning = "AirSpyHF+ IDLE";
constexpr auto firstCenterFrequency = "Center Frequency: 0.000 kHz";

} // namespace feedline
