// SPDX-License-Identifier: MIT
// Asks a running hub what it does.
#pragma once

#include <cstdint>
#include <string>

namespace feedline::hub {

/// What GET /status at the address answers; throws std::runtime_error with one clear line. Waits 3
/// s at most.
std::string askForStatus(const std::string& address, std::uint16_t port);

} // namespace feedline::hub
