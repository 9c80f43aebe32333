// SPDX-License-Identifier: MIT
// The controls and lines of a front end, for whoever reads and works them in the user's place.
//
// A front end fills every member, with its widgets or with controls that only hold their values.
// All functions belong to the main thread.
#pragma once

#include "platform/Controls.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace feedline {

/// A message that was shown to the user.
struct AlertRecord {
    std::string text; ///< message, and its information after " - "; empty when there was none
    std::uint64_t shownAt = 0; ///< microseconds since 1970, UTC

    bool operator==(const AlertRecord&) const = default;
};

/// A slider, or a switch (1 on, 0 off). `move` runs the control's action even when the value stays.
struct GainControl {
    std::function<std::int32_t()> value;
    std::function<void(std::int32_t)> move;
};

struct ServerControls {
    std::string program; ///< its name
    std::string version;

    const TextField* tcpStatus = nullptr;
    const TextField* remoteAddress = nullptr;
    const TextField* running = nullptr;
    const TextField* centerFrequency = nullptr;

    TextField* port = nullptr;
    TextField* address = nullptr;

    /// Titles of the device pop-up, and what is chosen: an index, or -1 for none of them.
    std::function<std::vector<std::string>()> devices;
    std::function<std::int64_t()> chosenDevice;
    std::function<void(std::int64_t index)> chooseDevice; ///< runs the pop-up's action

    GainControl lnaAgc;
    GainControl mixerAgc;
    GainControl lnaGain;
    GainControl mixerGain;
    GainControl vgaGain;
    GainControl linearity;
    GainControl sensitivity;

    std::function<void()> restart;
    std::function<void()> quit;

    /// A server thread waits for a client or serves one.
    std::function<bool()> listening;

    /// Kinds of receiver as indices of `devices`: the open one, or -1; those opened so far.
    std::function<std::int64_t()> openDevice;
    std::function<std::vector<std::int64_t>()> heldDevices;

    std::function<AlertRecord()> lastAlert;

    /// An alert waits for the user, who can press nothing else meanwhile.
    std::function<bool()> alertShown;
};

} // namespace feedline
