// SPDX-License-Identifier: MIT
// What a user is told beside the controls: when a change takes effect, and which texts they are
// made for.
#pragma once

namespace feedline {

constexpr auto deviceHint = "Takes effect at Restart.";
constexpr auto portHint = "Takes effect 5 s after a client has gone, or at the next start.";
constexpr auto addressHint = "Takes effect at the next start of Feedline.";
constexpr auto gainsHint = "Each takes effect when it is moved.";
constexpr auto presetHint =
    "A preset sets all three gains and switches both AGCs off in the receiver.";

constexpr auto portRange = "A port is a number from 1 to 65535.";
constexpr auto addressForm = "An IPv4 address is written like 192.168.1.20.";

} // namespace feedline
