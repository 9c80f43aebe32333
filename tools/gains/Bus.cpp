// SPDX-License-Identifier: MIT
#include "tools/gains/Bus.h"

#include "platform/dbus/Names.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstdint>

namespace feedline::gains {

namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t microseconds(Clock::duration time) {
    const auto whole = std::chrono::ceil<std::chrono::microseconds>(time).count();
    return static_cast<std::uint64_t>(std::max<std::int64_t>(whole, 0));
}

// The library itself would wait for minutes.
bool becomesReady(sd_bus* bus, Clock::duration limit) {
    const auto deadline = Clock::now() + limit;
    while (sd_bus_is_ready(bus) == 0) {
        const int progress = sd_bus_process(bus, nullptr);
        if (progress < 0)
            return false;
        const std::uint64_t left = microseconds(deadline - Clock::now());
        if (progress == 0 && (left == 0 || sd_bus_wait(bus, left) < 0))
            return false;
    }
    return sd_bus_is_ready(bus) > 0;
}

} // namespace

// Every call was answered or given up: there is nothing to flush.
void Release::operator()(sd_bus* bus) const {
    sd_bus_close_unref(bus);
}

void Release::operator()(sd_bus_message* message) const {
    sd_bus_message_unref(message);
}

Bus openBus(bool system, std::chrono::microseconds limit) {
    sd_bus* opened = nullptr;
    if ((system ? sd_bus_open_system(&opened) : sd_bus_open_user(&opened)) < 0)
        return nullptr;
    Bus bus(opened);
    sd_bus_set_method_call_timeout(bus.get(), microseconds(limit));
    return becomesReady(bus.get(), limit) ? std::move(bus) : nullptr;
}

std::string serverOn(sd_bus* bus) {
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                          "org.freedesktop.DBus", "GetNameOwner", nullptr, &answer,
                                          "s", dbus::busName);
    const Message kept(answer);
    const char* owner = nullptr;
    if (result < 0 || sd_bus_message_read_basic(answer, 's', &owner) <= 0)
        return {};
    return owner;
}

Message propertiesCall(sd_bus* bus, const char* method) {
    sd_bus_message* call = nullptr;
    sd_bus_message_new_method_call(bus, &call, dbus::busName, dbus::objectPath,
                                   "org.freedesktop.DBus.Properties", method);
    sd_bus_message_set_auto_start(call, 0);
    return Message(call);
}

} // namespace feedline::gains
