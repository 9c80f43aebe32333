// SPDX-License-Identifier: MIT
#include "tools/hub/status/StateJson.h"

#include <nlohmann/json.hpp>

namespace feedline::hub {

nlohmann::ordered_json stateJson(const ReceiverState& state) {
    return {{"connected", state.connected},
            {"running", state.running},
            {"silent", state.silent},
            {"name", state.name},
            {"serial", state.serial},
            {"frequency", state.frequency},
            {"rate", state.rate}};
}

} // namespace feedline::hub
