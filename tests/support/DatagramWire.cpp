// SPDX-License-Identifier: MIT
#include "DatagramWire.h"

#include <arpa/inet.h>
#include <cstring>
#include <sys/socket.h>

namespace feedline::test {

std::string Sending::destination() const {
    return std::string(::inet_ntoa(to.sin_addr)) + ":" + std::to_string(ntohs(to.sin_port));
}

DatagramWire& wire() {
    static DatagramWire only;
    return only;
}

void resetWire() {
    wire() = DatagramWire{};
}

} // namespace feedline::test

using namespace feedline::test;

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
int __real_socket(int domain, int type, int protocol);
ssize_t __real_sendto(int socket, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t length);

int __wrap_socket(int domain, int type, int protocol) {
    if (domain != AF_INET || type != SOCK_DGRAM || protocol != 0)
        return __real_socket(domain, type, protocol);
    ++wire().socketsAskedFor;
    return wire().lastSocket =
               wire().onSocket ? wire().onSocket() : __real_socket(domain, type, protocol);
}

ssize_t __wrap_sendto(int socket, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t length) {
    ++wire().sendings;
    if (!wire().onSend)
        return __real_sendto(socket, bytes, size, flags, to, length);
    Sending sending{socket, {static_cast<const std::uint8_t*>(bytes), size}, flags, {}, length};
    std::memcpy(&sending.to, to, sizeof sending.to);
    return wire().onSend(sending);
}
// NOLINTEND(bugprone-reserved-identifier)

} // extern "C"
