// SPDX-License-Identifier: MIT
// The inhibitor of a build without D-Bus (FEEDLINE_SESSION_BUS off): nobody is asked.
#include "platform/SessionInhibitor.h"

namespace feedline {

std::shared_ptr<void> SessionInhibitor::beginActivity(std::uint64_t /*options*/,
                                                      const std::string& /*reason*/) {
    return nullptr;
}

} // namespace feedline
