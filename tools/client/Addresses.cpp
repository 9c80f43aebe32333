// SPDX-License-Identifier: MIT
#include "tools/client/Addresses.h"

#include "tools/client/Failure.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <netdb.h>
#include <sys/socket.h>

namespace feedline::client {

sockaddr_in dottedAddress(const std::string& address, std::uint16_t port) {
    sockaddr_in found{};
    found.sin_family = AF_INET;
    found.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &found.sin_addr) != 1)
        throw Failure(Trouble::badAddress, "'" + address + "' is no dotted IPv4 address");
    return found;
}

sockaddr_in resolve(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int error = getaddrinfo(host.c_str(), nullptr, &hints, &found); error != 0)
        throw Failure(Trouble::noServer, "cannot find " + host + ": " + gai_strerror(error));
    sockaddr_in address{};
    std::memcpy(&address, found->ai_addr, sizeof address);
    freeaddrinfo(found);
    address.sin_port = htons(port);
    return address;
}

std::string dotted(const sockaddr_in& address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    return text.data();
}

} // namespace feedline::client
