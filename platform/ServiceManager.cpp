// SPDX-License-Identifier: MIT
#include "platform/ServiceManager.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cstdint>

namespace feedline {

void reportReady(const std::string& status) {
    sd_notify(0, ("READY=1\nSTATUS=" + status).c_str());
}

void reportStatus(const std::string& status) {
    sd_notify(0, ("STATUS=" + status).c_str());
}

void reportAlive() {
    sd_notify(0, "WATCHDOG=1");
}

std::optional<std::chrono::milliseconds> aliveInterval() {
    std::uint64_t limit = 0; // microseconds
    if (sd_watchdog_enabled(0, &limit) <= 0)
        return std::nullopt;
    using std::chrono::milliseconds;
    const auto half =
        std::chrono::duration_cast<milliseconds>(std::chrono::microseconds(limit / 2));
    return std::max(half, milliseconds(1));
}

} // namespace feedline
