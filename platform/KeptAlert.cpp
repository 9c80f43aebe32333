// SPDX-License-Identifier: MIT
#include "platform/KeptAlert.h"

#include <chrono>

namespace feedline {
namespace {

std::uint64_t microsecondsSince1970() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(since).count());
}

} // namespace

void KeptAlert::runModal(const std::string& message, const std::string& information) {
    {
        const std::lock_guard lock(mutex_);
        last_ = {information.empty() ? message : message + " - " + information,
                 microsecondsSince1970()};
    }
    mainThread_.perform([this] { onAlert(); });
    shown_.runModal(message, information);
}

AlertRecord KeptAlert::last() const {
    const std::lock_guard lock(mutex_);
    return last_;
}

} // namespace feedline
