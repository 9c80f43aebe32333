// SPDX-License-Identifier: MIT
// Stands between a sender and its datagram socket. For tests that wrap `socket` and `sendto`.
#pragma once

#include "DatagramView.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <netinet/in.h>
#include <span>
#include <string>
#include <sys/types.h>

namespace feedline::test {

/// One call of sendto, as it was made.
struct Sending {
    int socket;
    std::span<const std::uint8_t> bytes; ///< valid during the call
    int flags;
    sockaddr_in to;
    socklen_t toLength;

    DatagramView datagram() const { return DatagramView(bytes); }
    std::string destination() const; ///< "127.0.0.1:50000"
};

/// Both calls run on the sender's thread; set up what is here before it starts.
struct DatagramWire {
    /// Called in place of sendto, and gives its result; the system's own when empty.
    std::function<ssize_t(const Sending&)> onSend;

    /// Called in place of socket, and gives its result; the system's own when empty.
    std::function<int()> onSocket;

    int socketsAskedFor = 0;
    int lastSocket = -1;
    std::size_t sendings = 0;
};

DatagramWire& wire();
void resetWire();

} // namespace feedline::test
