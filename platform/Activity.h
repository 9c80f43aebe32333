// SPDX-License-Identifier: MIT
// A declaration that the process is busy on the user's behalf.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace feedline {

/// What to keep away while the activity lasts: throttling and idle sleep.
constexpr std::uint64_t userInitiatedActivity = 0x00FFFFFF;

class ActivitySource {
public:
    virtual ~ActivitySource() = default;

    /// Begins an activity and returns the token that keeps it in force while held; null where the
    /// system has no such service. Main thread; never waits long.
    virtual std::shared_ptr<void> beginActivity(std::uint64_t options,
                                                const std::string& reason) = 0;
};

} // namespace feedline
