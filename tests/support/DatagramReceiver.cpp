// SPDX-License-Identifier: MIT
#include "DatagramReceiver.h"

#include "Waiting.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>

namespace feedline::test {
namespace {

void setOption(int socket, int option, int value) {
    checked(::setsockopt(socket, SOL_SOCKET, option, &value, sizeof value), "setsockopt");
}

void setBuffer(int socket, int bytes) {
    if (::setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) // root only
        setOption(socket, SO_RCVBUF, bytes);
}

/// What the kernel tells of each datagram; a processor that qemu emulates does not get it told.
void askFor(int socket, int option) {
    const int on = 1;
    if (::setsockopt(socket, SOL_SOCKET, option, &on, sizeof on) != 0 && errno != ENOPROTOOPT)
        checked(-1, "setsockopt");
}

template <typename Value>
Value contentOf(cmsghdr* part) {
    Value value{};
    std::memcpy(&value, CMSG_DATA(part), sizeof value);
    return value;
}

} // namespace

DatagramReceiver::DatagramReceiver(int bufferBytes) {
    for (int attempt = 0;; ++attempt) {
        socket_ = makeSocket(SOCK_DGRAM);
        if (bindToLoopback(socket_.get(), port_.number()))
            break;
        if (attempt == 100)
            throw std::runtime_error("no UDP port can be had");
        port_ = ReservedPort();
    }
    setBuffer(socket_.get(), bufferBytes);
    askFor(socket_.get(), SO_TIMESTAMPNS);
    askFor(socket_.get(), SO_RXQ_OVFL);
}

bool DatagramReceiver::take(Datagram& into) {
    alignas(cmsghdr) std::array<char, 256> control;
    iovec part{into.buffer.data(), into.buffer.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t length = ::recvmsg(socket_.get(), &message, MSG_DONTWAIT);
    if (length < 0)
        return false;
    into.length = static_cast<std::size_t>(length);
    into.time = std::chrono::system_clock::now().time_since_epoch();
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_type == SCM_TIMESTAMPNS) {
            const auto time = contentOf<timespec>(c);
            into.time = std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
        } else if (c->cmsg_type == SO_RXQ_OVFL) {
            overflowed_ = contentOf<std::uint32_t>(c);
        }
    }
    return true;
}

Bytes DatagramReceiver::receive() {
    readable(socket_.get(), static_cast<int>(std::chrono::milliseconds(longestWait).count()));
    return takeBytes();
}

Bytes DatagramReceiver::takeBytes() {
    Datagram datagram;
    if (!take(datagram))
        return {};
    return {datagram.bytes().begin(), datagram.bytes().end()};
}

} // namespace feedline::test
