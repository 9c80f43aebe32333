// A TCP port that nobody else gets while the object lives, and on which the server can listen.
#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace feedline::test {

/// Holds a bound socket that does not listen: with SO_REUSEADDR on both sides the server may bind
/// and listen beside it, while the system gives the port to no one who asks for any.
class ReservedPort {
public:
    ReservedPort() {
        const int on = 1;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_ANY);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
            ::bind(socket_, generic, length) == 0 && ::getsockname(socket_, generic, &length) == 0)
            number_ = ntohs(address.sin_port);
    }
    ~ReservedPort() { ::close(socket_); }
    ReservedPort(const ReservedPort&) = delete;
    ReservedPort& operator=(const ReservedPort&) = delete;

    /// 0 when none could be had.
    std::int32_t number() const { return number_; }

private:
    int socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
    std::int32_t number_ = 0;
};

} // namespace feedline::test
