// SPDX-License-Identifier: MIT
// Owners for the bus library's reference-counted objects.
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>

namespace feedline::dbus {

struct Release {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    void operator()(sd_event* event) const { sd_event_unref(event); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using Bus = std::unique_ptr<sd_bus, Release>;
using Event = std::unique_ptr<sd_event, Release>;
using Message = std::unique_ptr<sd_bus_message, Release>;

} // namespace feedline::dbus
