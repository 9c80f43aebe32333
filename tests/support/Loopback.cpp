// SPDX-License-Identifier: MIT
#include "Loopback.h"

#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace feedline::test {
namespace {

sockaddr_in loopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

/// On all addresses, as the server's own listener.
bool bindForReuse(int socket, std::uint16_t port) {
    const int on = 1;
    checked(::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "setsockopt");
    sockaddr_in anywhere{};
    anywhere.sin_family = AF_INET;
    anywhere.sin_port = htons(port);
    return ::bind(socket, generic(anywhere), sizeof anywhere) == 0;
}

std::uint16_t portOf(int socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    checked(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    return ntohs(address.sin_port);
}

} // namespace

int checked(int result, const char* call) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), call);
    return result;
}

void OwnedDescriptor::close() {
    if (descriptor_ >= 0)
        ::close(std::exchange(descriptor_, -1));
}

OwnedDescriptor makeSocket(int type) {
    // The flag apart: a test that wraps `socket` sees the type as the server would give it.
    OwnedDescriptor made(checked(::socket(AF_INET, type, 0), "socket"));
    checked(::fcntl(made.get(), F_SETFD, FD_CLOEXEC), "fcntl");
    return made;
}

bool bindToLoopback(int socket, std::uint16_t port) {
    const sockaddr_in address = loopbackAddress(port);
    return ::bind(socket, generic(address), sizeof address) == 0;
}

bool connectToLoopback(int socket, std::uint16_t port) {
    const sockaddr_in address = loopbackAddress(port);
    return ::connect(socket, generic(address), sizeof address) == 0;
}

void sendToLoopback(int socket, std::uint16_t port, std::span<const std::uint8_t> bytes) {
    const sockaddr_in address = loopbackAddress(port);
    ::sendto(socket, bytes.data(), bytes.size(), 0, generic(address), sizeof address);
}

bool readable(int descriptor, int milliseconds) {
    pollfd waiting{descriptor, POLLIN, 0};
    return ::poll(&waiting, 1, milliseconds) > 0;
}

bool listening(std::uint16_t port) {
    return connectToLoopback(makeSocket(SOCK_STREAM).get(), port);
}

ReservedPort::ReservedPort(std::uint16_t count) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        sockets_.clear();
        if (!reserve(0))
            continue;
        number_ = portOf(sockets_.front().get());
        std::uint16_t more = 1;
        while (more < count && reserve(static_cast<std::uint16_t>(number_ + more)))
            ++more;
        if (more == count)
            return;
    }
    throw std::runtime_error("no port is free for TCP and UDP");
}

bool ReservedPort::reserve(std::uint16_t port) {
    OwnedDescriptor socket = makeSocket(SOCK_STREAM);
    if (!bindForReuse(socket.get(), port) ||
        !bindToLoopback(makeSocket(SOCK_DGRAM).get(), portOf(socket.get())))
        return false;
    sockets_.push_back(std::move(socket));
    return true;
}

std::string loopbackAsNumber() {
    std::ostringstream number;
    number << std::hex << htonl(INADDR_LOOPBACK);
    return number.str();
}

OwnedDescriptor listenOn(std::uint16_t port) {
    OwnedDescriptor made = makeSocket(SOCK_STREAM);
    if (!bindForReuse(made.get(), port) || ::listen(made.get(), 3) != 0)
        throw std::runtime_error("cannot listen on port " + std::to_string(port));
    return made;
}

} // namespace feedline::test
