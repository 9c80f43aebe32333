// SPDX-License-Identifier: MIT
// How the program ends, and the one way in which anything in it gives up.
#pragma once

#include <stdexcept>
#include <string>

namespace feedline::ctl {

/// Exit statuses, part of the program's interface: scripts rely on them, the man page lists them.
enum class ExitStatus : int {
    success = 0,
    refused = 1,      ///< would do harm (restart), or is not so (idle); nothing was changed
    badArguments = 2, ///< nothing was tried
    noServer = 3,     ///< no bus, or no server on it
    noAnswer = 4,     ///< the server or the bus does not answer, or does not let the caller in
};

/// Carries one line for standard error, without program name and line end, and the exit status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& line)
        : std::runtime_error(line), status(exitStatus) {}
    ExitStatus status;
};

} // namespace feedline::ctl
