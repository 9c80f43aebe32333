// SPDX-License-Identifier: MIT
// Where the native output's datagrams go.
#pragma once

#include <cstdint>
#include <set>
#include <string>

namespace feedline::hub {

/// One port at every client's address. Two programs cannot share the port of one address, so each
/// address has at most one stream. For the output's thread.
class Destinations {
public:
    explicit Destinations(std::uint16_t port) : port_(port) {}

    std::uint16_t port() const { return port_; }

    /// False when the address has a stream already.
    bool claim(const std::string& address) { return taken_.insert(address).second; }
    void release(const std::string& address) { taken_.erase(address); }

private:
    std::uint16_t port_;
    std::set<std::string> taken_;
};

} // namespace feedline::hub
