// SPDX-License-Identifier: MIT
#include "tools/hub/zeromq/StateText.h"

#include <nlohmann/json.hpp>

namespace feedline::hub {

std::string stateText(const ReceiverState& state) {
    const nlohmann::ordered_json text{{"connected", state.connected},
                                      {"running", state.running},
                                      {"silent", state.silent},
                                      {"name", state.name},
                                      {"serial", state.serial},
                                      {"frequency", state.frequency},
                                      {"rate", state.rate}};
    // A name that is not UTF-8 shows as well as it can.
    return text.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace feedline::hub
