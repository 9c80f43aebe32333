// SPDX-License-Identifier: MIT
// Whether a TCP port of this machine is listened on, found out without connecting: one connection
// is all that a server has, and it costs it five seconds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace feedline::soapy {

/// The dotted IPv4 address at which a program in this network namespace listens on the port;
/// "127.0.0.1" for one that listens on all. Nothing when none does. Takes milliseconds. Any thread.
std::optional<std::string> listeningAddress(std::uint16_t port);

} // namespace feedline::soapy
