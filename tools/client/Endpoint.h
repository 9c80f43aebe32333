// SPDX-License-Identifier: MIT
// Where a server is, and from where this machine speaks to it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace feedline::client {

using Seconds = std::chrono::duration<double>;

struct Endpoint {
    std::string host = "127.0.0.1"; ///< name or dotted IPv4 address
    std::uint16_t port = 50000;     ///< TCP; datagrams come to the same number
    /// Dotted IPv4 address of this machine that the control connection comes from. Empty: the
    /// system's choice. A server that sends to the address its client connects from tells several
    /// clients on one machine apart by it (127.0.0.2 and so on).
    std::string bind;

    bool operator==(const Endpoint&) const = default;
    /// "HOST:PORT", as the user knows it.
    std::string server() const { return host + ":" + std::to_string(port); }
};

/// How long to wait for a server.
struct TimeLimits {
    Seconds timeout{3.0}; ///< for a connection, and for each answer
    /// A server that has just lost a client refuses connections for some seconds; for how long to
    /// go on trying then.
    Seconds wait{0.0};
    /// A descriptor; once it is readable every wait ends with Trouble::cancelled. -1: none.
    int cancel = -1;
};

} // namespace feedline::client
