// SPDX-License-Identifier: MIT
// Sockets on the loopback address, and ports there that no other test gets.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace feedline::test {

/// Throws std::system_error, naming the call, when its result is negative.
int checked(int result, const char* call);

/// A descriptor that is closed exactly once.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~OwnedDescriptor() { close(); }

    int get() const { return descriptor_; }
    void close();

private:
    int descriptor_;
};

/// Of this type (SOCK_STREAM, SOCK_DGRAM), not handed on to the programs that a test starts.
OwnedDescriptor makeSocket(int type);

/// False when the port is taken.
bool bindToLoopback(int socket, std::uint16_t port);

/// False when nobody listens.
bool connectToLoopback(int socket, std::uint16_t port);

/// As one datagram. Whether it arrives shows at the other end alone.
void sendToLoopback(int socket, std::uint16_t port, std::span<const std::uint8_t> bytes);

/// Whether something can be read, or the end seen, within so many milliseconds.
bool readable(int descriptor, int milliseconds);

/// Whether anybody listens on the port right now.
bool listening(std::uint16_t port);

/// A TCP port that nobody else gets while this lives, and on which a server that asks for the reuse
/// of addresses can listen: it is bound here, with the same option, and not listened on. When it is
/// made, the UDP port of the same number is free too.
class ReservedPort {
public:
    /// @param count  ports side by side, of which `number` is the first
    explicit ReservedPort(std::uint16_t count = 1);
    std::uint16_t number() const { return number_; }
    std::string text() const { return std::to_string(number_); }

private:
    bool reserve(std::uint16_t port);

    std::vector<OwnedDescriptor> sockets_;
    std::uint16_t number_ = 0;
};

/// The loopback address as `%x` prints it from a socket's address, which holds it in the network's
/// order: 100007f, and 7f000001 where that is the host's order, too.
std::string loopbackAsNumber();

/// A listener on a port that this test has reserved: the server of a test's own, or another program
/// that has the port while this lives.
OwnedDescriptor listenOn(std::uint16_t port);

} // namespace feedline::test
