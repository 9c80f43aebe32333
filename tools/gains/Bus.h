// SPDX-License-Identifier: MIT
// A connection to a message bus, and the few questions that callers of a server ask there.
#pragma once

#include <chrono>
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

/// A call of the server's properties: "GetAll" or "Set". Starts no server.
Message propertiesCall(sd_bus* bus, const char* method);

} // namespace feedline::gains
