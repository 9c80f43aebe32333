// SPDX-License-Identifier: MIT
// Runs the user's command without waiting for it.
#pragma once

#include <string>
#include <sys/types.h>

namespace feedline::hub {

/// One command at a time. For one thread.
class Command {
public:
    /// Hands the text to the shell; says in the log how that went. Does nothing while the last one
    /// still runs.
    void start(const std::string& text);
    /// Takes the result of one that has ended, if there is one.
    void reap();

private:
    pid_t process_ = -1;
};

} // namespace feedline::hub
