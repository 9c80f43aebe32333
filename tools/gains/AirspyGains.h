// SPDX-License-Identifier: MIT
// The gains of an AirSpy, for a client of its server: the server's own protocol has no words for
// them, but a server on the same machine has its controls on D-Bus (docs/control.md).
//
// All functions may be called from any thread. A thread of this object's own speaks with the bus;
// none of the functions waits for it, but for settle().
#pragma once

#include "tools/gains/GainTable.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace feedline::gains {

/// How the controls stand, in the order of `table`; a switch is 0 or 1.
using Values = std::array<std::int32_t, table.size()>;

class AirspyGains {
public:
    /// Looks for the server that a client of this address has, on the session bus and on the
    /// system bus, for as long as the object lives.
    /// @param host     of the server; nothing is looked for unless it is an address or a name of
    ///                 this machine (names are compared, not looked up)
    /// @param port     of the server: a server with another one is somebody else's
    /// @param changed  called on the own thread after every change of values(); may be empty
    AirspyGains(const std::string& host, std::uint16_t port, std::function<void()> changed);
    ~AirspyGains(); ///< within a second
    AirspyGains(const AirspyGains&) = delete;
    AirspyGains& operator=(const AirspyGains&) = delete;

    /// Waits until there has been a first look on the buses, and whatever was set has been sent.
    /// @returns false when it takes longer than the limit
    bool settle(std::chrono::milliseconds limit) const;

    /// None while there is no such server, or it has no AirSpy open.
    std::optional<Values> values() const;

    /// Sends a value, brought into its range, to the receiver; of several for one gain the last.
    /// @param place  in `table`
    /// @returns false when there is none to steer
    bool set(std::size_t place, std::int32_t value);

private:
    class Body;
    std::unique_ptr<Body> body_;
};

} // namespace feedline::gains
