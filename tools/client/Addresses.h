// SPDX-License-Identifier: MIT
// IPv4 addresses as text and as the system's own.
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <string>

namespace feedline::client {

/// From dotted text; throws Failure (Trouble::badAddress) when it is none. Any thread.
sockaddr_in dottedAddress(const std::string& address, std::uint16_t port);

/// From dotted text, without asking anybody, or from a name, which the system's resolver looks up;
/// throws Failure (Trouble::noServer). Any thread.
sockaddr_in resolve(const std::string& host, std::uint16_t port);

/// As dotted text.
std::string dotted(const sockaddr_in& address);

} // namespace feedline::client
