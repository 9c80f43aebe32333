// SPDX-License-Identifier: MIT
// How the program ends, and the one way in which anything in it gives up.
#pragma once

#include "tools/client/Failure.h"

#include <stdexcept>
#include <string>

namespace feedline::probe {

/// Exit statuses, part of the program's interface: scripts rely on them, the man page lists them.
enum class ExitStatus : int {
    success = 0,
    samplesLost = 1,     ///< the stream ran to its end, with datagrams missing
    badArguments = 2,    ///< nothing was tried
    noServer = 3,        ///< unknown host, connection refused, or no route
    noAnswer = 4,        ///< connected, but the server does not answer, or not what was asked
    portInUse = 5,       ///< the UDP port is bound already, or the address is not this machine's
    outputFailed = 6,    ///< a recording or a picture could not be written, or not completely
    connectionLost = 7,  ///< the server went away while the stream ran
    nothingReceived = 8, ///< the server answered, but not one datagram came
};

/// How the program ends when its client's end of the wire has given up.
constexpr ExitStatus statusFor(client::Trouble trouble) {
    switch (trouble) {
    case client::Trouble::badAddress:
        return ExitStatus::badArguments;
    case client::Trouble::noServer:
        return ExitStatus::noServer;
    case client::Trouble::portInUse:
        return ExitStatus::portInUse;
    case client::Trouble::noAnswer:
    case client::Trouble::refused:
    case client::Trouble::cancelled:
        break;
    }
    return ExitStatus::noAnswer;
}

/// Carries one line for standard error, without program name and line end, and the exit status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& line)
        : std::runtime_error(line), status(exitStatus) {}
    ExitStatus status;
};

} // namespace feedline::probe
