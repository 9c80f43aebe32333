// SPDX-License-Identifier: MIT
// The receiver's state as status and publications show it.
#pragma once

#include "tools/hub/listeners/ReceiverState.h"

#include <nlohmann/json_fwd.hpp>

namespace feedline::hub {

/// One object; docs/hub.md lists its members.
nlohmann::ordered_json stateJson(const ReceiverState& state);

} // namespace feedline::hub
