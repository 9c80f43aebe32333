// SPDX-License-Identifier: MIT
#include "ControlConnection.h"

#include "Waiting.h"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace feedline::test {
namespace {

constexpr std::chrono::milliseconds limit = longestWait;

ssize_t sendSome(int socket, const std::uint8_t* bytes, std::size_t count, int flags = 0) {
    return ::send(socket, bytes, count, MSG_NOSIGNAL | flags);
}

} // namespace

ControlConnection::ControlConnection(std::uint16_t port) {
    const bool connected = waitUntil([&] {
        socket_ = makeSocket(SOCK_STREAM);
        return connectToLoopback(socket_.get(), port);
    });
    if (!connected)
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
    const timeval generous{longestWait.count(), 0};
    checked(::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &generous, sizeof generous),
            "setsockopt");
}

bool ControlConnection::send(const Bytes& bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = sendSome(socket_.get(), bytes.data() + sent, bytes.size() - sent);
        if (n <= 0)
            return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

void ControlConnection::sendUntilStuck(const Bytes& bytes) const {
    pollfd wait{socket_.get(), POLLOUT, 0};
    while (poll(&wait, 1, 1000) > 0)
        if (sendSome(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT) <= 0)
            return;
}

Bytes ControlConnection::receive() const {
    Bytes message;
    std::size_t wanted = 1;
    while (message.size() < wanted && hasInput(limit)) {
        std::array<std::uint8_t, 256> buffer{};
        const ssize_t n = recv(socket_.get(), buffer.data(), wanted - message.size(), 0);
        if (n <= 0)
            return {};
        message.insert(message.end(), buffer.begin(), buffer.begin() + n);
        wanted = std::max<std::size_t>(message[0], 1);
    }
    return message.size() == wanted ? message : Bytes{};
}

std::string ControlConnection::receiveHex(std::size_t count) const {
    Bytes bytes(count);
    std::size_t got = 0;
    while (got < count && hasInput(limit)) {
        const ssize_t n = recv(socket_.get(), bytes.data() + got, count - got, 0);
        if (n <= 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    return hex(std::span(bytes).first(got));
}

Bytes ControlConnection::takeInput() const {
    Bytes bytes(65536);
    const ssize_t got = recv(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

Bytes ControlConnection::ask(const Bytes& message) const {
    return send(message) ? receive() : Bytes{};
}

bool ControlConnection::hasInput(std::chrono::milliseconds within) const {
    return readable(socket_.get(), static_cast<int>(within.count()));
}

bool ControlConnection::waitForEnd() const {
    std::array<char, 256> ignored{};
    while (hasInput(limit))
        if (recv(socket_.get(), ignored.data(), ignored.size(), 0) <= 0)
            return true;
    return false;
}

void ControlConnection::close() {
    socket_.close();
}

void ControlConnection::reset() {
    const linger abruptly{1, 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly);
    close();
}

void ControlConnection::finish() {
    shutdown(socket_.get(), SHUT_WR);
    waitForEnd();
    close();
}

bool ControlConnection::vanish() {
    const int on = 1; // A connection under repair is closed without a packet.
    if (setsockopt(socket_.get(), IPPROTO_TCP, TCP_REPAIR, &on, sizeof on) != 0)
        return false;
    close();
    return true;
}

} // namespace feedline::test
