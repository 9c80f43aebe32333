// SPDX-License-Identifier: MIT
// The hub's page, its WebSocket, and the status for programs, on one port.
#pragma once

#include "tools/hub/output/Output.h"

namespace feedline::hub {

/// See OutputFactory.
std::unique_ptr<Output> openWeb(const Configuration& configuration, Receiver& receiver);

} // namespace feedline::hub
