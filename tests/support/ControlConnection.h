// SPDX-License-Identifier: MIT
// A control connection for tests of the server: sends whatever it is given, whole messages or not,
// and can leave in every way in which a client can go. Where a test need not misbehave,
// tools/client has the client that the project's programs use.
#pragma once

#include "Bytes.h"
#include "Loopback.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace feedline::test {

/// Methods belong to one thread. Every wait ends after `longestWait`.
class ControlConnection {
public:
    /// Connects as soon as somebody listens. Throws std::runtime_error if nobody does for long.
    explicit ControlConnection(std::uint16_t port);

    /// False once the other side is gone.
    bool send(const Bytes& bytes) const;

    /// Sends the bytes over and over until nothing more has gone out for a second.
    void sendUntilStuck(const Bytes& bytes) const;

    /// The next message, by its length byte; empty when the connection ends or nothing comes.
    Bytes receive() const;

    /// Exactly so many bytes, fewer at the end, in hex.
    std::string receiveHex(std::size_t count) const;

    /// What has arrived by now.
    Bytes takeInput() const;

    /// Sends and receives.
    Bytes ask(const Bytes& message) const;

    /// Whether bytes, the end or an error are there within the time.
    bool hasInput(std::chrono::milliseconds within = {}) const;

    /// True when the server ends the connection, whatever it sends before.
    bool waitForEnd() const;

    void close(); ///< in the orderly way
    void reset(); ///< abruptly: the server's receive fails, and what is under way is lost

    /// Sends no more, and goes when the server has read everything and gone.
    void finish();

    /// As a machine that loses its power: the other side hears nothing. False where the system
    /// reserves that for root.
    bool vanish();

private:
    OwnedDescriptor socket_;
};

} // namespace feedline::test
