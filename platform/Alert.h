// SPDX-License-Identifier: MIT
// A message the user must see.
#pragma once

#include <string>

namespace feedline {

class Alert {
public:
    virtual ~Alert() = default;

    /// Shows the message, with the information under it unless that is empty, and one "OK" button.
    /// Any thread may call; returns when the user has dismissed it or the process is ending. On the
    /// main thread, tasks and timers go on meanwhile. Where there is no user to ask, it is written
    /// down and returns at once.
    virtual void runModal(const std::string& message, const std::string& information) = 0;
};

} // namespace feedline
