// SPDX-License-Identifier: MIT
// Keeps the machine from going idle, over D-Bus.
#pragma once

#include "platform/Activity.h"

namespace feedline {

/// Asks the desktop's session manager for an inhibitor of idleness, or, without one, the login
/// manager. The token holds the bus connection or the descriptor that keeps the inhibitor in force.
///
/// Nothing is started for it, neither a bus nor a service, and a service that does not answer
/// within a second and a half counts as absent; then there is no token. In a build without D-Bus
/// there never is one. What an activity keeps away is the same for every set of options here:
/// idleness.
class SessionInhibitor final : public ActivitySource {
public:
    std::shared_ptr<void> beginActivity(std::uint64_t options, const std::string& reason) override;
};

} // namespace feedline
