// SPDX-License-Identifier: MIT
#include "ReplyPeer.h"

#include "Bytes.h"
#include "app/RunTimeState.h"

#include <array>
#include <span>
#include <sys/socket.h>

namespace feedline::test {

ReplyPeer::ReplyPeer() {
    std::array<int, 2> ends{};
    checked(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), "socketpair");
    serverEnd_ = OwnedDescriptor(ends[0]);
    clientEnd_ = OwnedDescriptor(ends[1]);
    clientSocket = ends[0];
}

ReplyPeer::~ReplyPeer() {
    clientSocket = -1;
}

std::vector<std::string> ReplyPeer::take() {
    std::vector<std::string> replies;
    Bytes bytes(512);
    ssize_t got = 0;
    while ((got = ::recv(clientEnd_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT)) >= 0)
        replies.push_back(hex(std::span(bytes).first(static_cast<std::size_t>(got))));
    return replies;
}

} // namespace feedline::test
