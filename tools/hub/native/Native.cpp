// SPDX-License-Identifier: MIT
#include "tools/hub/native/Native.h"

#include "tools/hub/native/Session.h"
#include "tools/hub/tcp/SessionOutput.h"

#include <utility>

namespace feedline::hub {

std::unique_ptr<Output> openNative(const Configuration& configuration, Receiver& receiver) {
    if (configuration.native == 0)
        return nullptr;
    const auto destinations = std::make_shared<Destinations>(configuration.native);
    return std::make_unique<SessionOutput<Session>>(
        "native", configuration.listen, configuration.native,
        [&receiver, destinations](auto connection) {
            return std::make_shared<Session>(std::move(connection), receiver, destinations);
        });
}

} // namespace feedline::hub
