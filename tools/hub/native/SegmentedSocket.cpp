// SPDX-License-Identifier: MIT
#include "tools/hub/native/SegmentedSocket.h"

#include "stream/DataDatagram.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <system_error>

namespace feedline::hub {
namespace {

/// What one call may carry: the kernel's limits are 64 segments and an IPv4 packet's length.
constexpr std::size_t mostSegments = std::min<std::size_t>(64, 65507 / datagram::size);

sockaddr_in addressOf(const std::string& dotted, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, dotted.c_str(), &address.sin_addr);
    return address;
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

SegmentedSocket::SegmentedSocket(const std::string& local, const std::string& peer,
                                 std::uint16_t peerPort)
    : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      peer_(addressOf(peer, peerPort)) {
    if (socket_.get() < 0)
        fail("no datagram socket");
    const sockaddr_in from = addressOf(local, 0);
    if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0)
        fail("no datagram socket on the client's side");
    const int buffer = 4 << 20; // Some bursts, should the network stand still for a moment.
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
}

std::size_t SegmentedSocket::send(std::span<const std::uint8_t> datagrams) {
    std::size_t sent = 0;
    while (!datagrams.empty()) {
        const auto part = datagrams.first(
            std::min(datagrams.size(), (segments_ ? mostSegments : 1) * datagram::size));
        const std::size_t left =
            segments_ && part.size() > datagram::size ? sendSegmented(part) : sendSingly(part);
        sent += left;
        if (left * datagram::size < part.size())
            return sent;
        datagrams = datagrams.subspan(part.size());
    }
    return sent;
}

std::size_t SegmentedSocket::sendSegmented(std::span<const std::uint8_t> datagrams) {
    iovec content{const_cast<std::uint8_t*>(datagrams.data()), datagrams.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(std::uint16_t))> control{};
    msghdr message{};
    message.msg_name = &peer_;
    message.msg_namelen = sizeof peer_;
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const segment = CMSG_FIRSTHDR(&message);
    segment->cmsg_level = SOL_UDP;
    segment->cmsg_type = UDP_SEGMENT;
    segment->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
    const std::uint16_t size = datagram::size;
    std::memcpy(CMSG_DATA(segment), &size, sizeof size);
    if (::sendmsg(socket_.get(), &message, 0) >= 0)
        return datagrams.size() / datagram::size;
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS)
        return 0;
    // This kernel or this way out does not segment: then and from now on one by one.
    segments_ = false;
    return sendSingly(datagrams);
}

std::size_t SegmentedSocket::sendSingly(std::span<const std::uint8_t> datagrams) const {
    std::size_t sent = 0;
    for (; sent * datagram::size < datagrams.size(); ++sent)
        if (::sendto(socket_.get(), datagrams.data() + sent * datagram::size, datagram::size, 0,
                     reinterpret_cast<const sockaddr*>(&peer_), sizeof peer_) < 0)
            break;
    return sent;
}

} // namespace feedline::hub
