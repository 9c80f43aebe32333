// SPDX-License-Identifier: MIT
// The receiver's state as the third socket publishes it.
#pragma once

#include "tools/hub/listeners/ReceiverState.h"

#include <string>

namespace feedline::hub {

/// One JSON object; docs/hub.md lists its members.
std::string stateText(const ReceiverState& state);

} // namespace feedline::hub
