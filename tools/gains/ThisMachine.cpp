// SPDX-License-Identifier: MIT
#include "tools/gains/ThisMachine.h"

#include <array>
#include <memory>
#include <netdb.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace feedline::gains {

namespace {

// Only an own address can be bound to.
bool canBind(const addrinfo& address) {
    const int probe = socket(address.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0)
        return false;
    const bool bound = bind(probe, address.ai_addr, address.ai_addrlen) == 0;
    close(probe);
    return bound;
}

bool isOwnName(const std::string& host) {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 && !host.empty() &&
           strcasecmp(host.c_str(), name.data()) == 0;
}

} // namespace

bool isThisMachine(const std::string& host) {
    if (host == "localhost" || isOwnName(host))
        return true;
    addrinfo numeric{};
    numeric.ai_flags = AI_NUMERICHOST;
    numeric.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &numeric, &found) != 0)
        return false;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> kept(found, freeaddrinfo);
    return canBind(*found);
}

} // namespace feedline::gains
