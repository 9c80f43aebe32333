// SPDX-License-Identifier: MIT
// A connection to a message bus, and the few questions that callers of a server ask there.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace feedline::gains {

struct Release {
    void operator()(sd_bus* bus) const;
    void operator()(sd_bus_message* message) const;
};
using Bus = std::unique_ptr<sd_bus, Release>;
using Message = std::unique_ptr<sd_bus_message, Release>;

/// @param system  the system's bus, otherwise the session's
/// @param limit   for the bus to let us in, and for the answer to each call later
/// @returns null when there is no such bus
Bus openBus(bool system, std::chrono::microseconds limit);

/// The connection that has the server's name; empty when there is none, or no answer.
std::string serverOn(sd_bus* bus);

/// As the bus's library takes times: rounded up, and 0 for what is over.
std::uint64_t microseconds(std::chrono::steady_clock::duration time);

constexpr auto propertiesInterface = "org.freedesktop.DBus.Properties";

/// A call of the server, without arguments yet. Starts no server.
Message newCall(sd_bus* bus, const char* interface, const char* method);

/// The text that stands next in a message; empty when there is none.
std::string readText(sd_bus_message* message);

/// Reads or skips the value that stands next in the message: the property's, of the D-Bus type that
/// is named.
using PropertyReader =
    std::function<void(sd_bus_message* message, const std::string& name, const std::string& type)>;

/// Goes through the a{sv} that stands next in the message.
void readProperties(sd_bus_message* message, const PropertyReader& read);

/// Sets `changed` from sd_bus_process() on whatever the server tells, and when it comes or goes.
/// @param changed  lives as long as the bus
/// @returns negative, an errno, when the bus does not take it
int watchServer(sd_bus* bus, bool& changed);

} // namespace feedline::gains
