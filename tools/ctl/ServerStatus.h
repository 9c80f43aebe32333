// SPDX-License-Identifier: MIT
// A server's properties at one moment.
#pragma once

#include "tools/gains/GainTable.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace feedline::ctl {

struct ServerStatus {
    bool onSystemBus = false;
    std::string program;
    std::string version;

    std::string tcpStatus;
    std::string remoteAddress;
    std::string running;
    std::string centerFrequency;
    bool listening = false;
    std::string alert;           ///< empty when there was none
    std::uint64_t alertTime = 0; ///< microseconds since 1970, UTC

    std::string port;
    std::string address;
    std::vector<std::string> devices;
    std::string device;
    std::string openDevice; ///< empty when none is
    std::vector<std::string> heldDevices;
    std::array<std::int32_t, gains::table.size()>
        gain{}; ///< in the order of `gains::table`; a switch is 0 or 1

    bool operator==(const ServerStatus&) const = default;
};

} // namespace feedline::ctl
