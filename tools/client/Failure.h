// SPDX-License-Identifier: MIT
// The one way in which the client's end of the wire gives up.
#pragma once

#include <stdexcept>
#include <string>

namespace feedline::client {

enum class Trouble {
    badAddress, ///< the text is no address; nothing was tried
    noServer,   ///< unknown host, connection refused, or no route
    noAnswer,   ///< connected, but the server does not answer, or not what was asked
    refused,    ///< answered with "no" (02 00); the connection goes on
    portInUse,  ///< the port is bound already, or the address is not this machine's
    cancelled,  ///< the caller said so (TimeLimits::cancel)
};

/// Carries one line for people, without program name and line end.
class Failure : public std::runtime_error {
public:
    Failure(Trouble what, const std::string& line) : std::runtime_error(line), trouble(what) {}
    Trouble trouble;
};

} // namespace feedline::client
