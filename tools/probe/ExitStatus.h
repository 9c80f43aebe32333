// How the program ends, and the one way in which anything in it gives up.
#pragma once

#include <stdexcept>
#include <string>

namespace feedline::probe {

/// Exit statuses, part of the program's interface: scripts rely on them, the man page lists them.
enum class ExitStatus : int {
    Success = 0,
    SamplesLost = 1,     ///< the stream ran to its end, with datagrams missing
    BadArguments = 2,    ///< nothing was tried
    NoServer = 3,        ///< unknown host, connection refused, or no route
    NoAnswer = 4,        ///< connected, but the server does not answer, or not what was asked
    PortInUse = 5,       ///< the UDP port is bound already, or the address is not this machine's
    OutputFailed = 6,    ///< a recording or a picture could not be written, or not completely
    ConnectionLost = 7,  ///< the server went away while the stream ran
    NothingReceived = 8, ///< the server answered, but not one datagram came
};

/// Carries one line for standard error, without program name and line end, and the exit status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& line)
        : std::runtime_error(line), status(exitStatus) {}
    ExitStatus status;
};

} // namespace feedline::probe
