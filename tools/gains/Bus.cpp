// SPDX-License-Identifier: MIT
#include "tools/gains/Bus.h"

#include "platform/dbus/Names.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace feedline::gains {

namespace {

using Clock = std::chrono::steady_clock;

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

// Of concatenations with + GCC 12 warns of a copy out of bounds.
std::string joined(std::initializer_list<std::string_view> parts) {
    std::string all;
    for (const std::string_view part : parts)
        all += part;
    return all;
}

int noteChange(sd_bus_message* /*signal*/, void* changed, sd_bus_error* /*error*/) {
    *static_cast<bool*>(changed) = true;
    return 0;
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

std::uint64_t microseconds(Clock::duration time) {
    const auto whole = std::chrono::ceil<std::chrono::microseconds>(time).count();
    return static_cast<std::uint64_t>(std::max<std::int64_t>(whole, 0));
}

Message newCall(sd_bus* bus, const char* interface, const char* method) {
    sd_bus_message* call = nullptr;
    sd_bus_message_new_method_call(bus, &call, dbus::busName, dbus::objectPath, interface, method);
    sd_bus_message_set_auto_start(call, 0);
    return Message(call);
}

std::string readText(sd_bus_message* message) {
    const char* text = nullptr;
    sd_bus_message_read_basic(message, 's', &text);
    return text != nullptr ? text : "";
}

void readProperties(sd_bus_message* message, const PropertyReader& read) {
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const std::string name = readText(message);
        char kind = 0;
        const char* type = nullptr;
        sd_bus_message_peek_type(message, &kind, &type);
        const std::string contents = type != nullptr ? type : "";
        sd_bus_message_enter_container(message, 'v', contents.c_str());
        read(message, name, contents);
        sd_bus_message_exit_container(message);
        sd_bus_message_exit_container(message);
    }
}

int watchServer(sd_bus* bus, bool& changed) {
    const std::string changes = joined({"type='signal',member='PropertiesChanged',interface='",
                                        propertiesInterface, "',path='", dbus::objectPath, "'"});
    const std::string owners =
        joined({"type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='",
                dbus::busName, "'"});
    int result = 0;
    for (const std::string& rule : {changes, owners})
        if (result >= 0)
            result = sd_bus_add_match(bus, nullptr, rule.c_str(), noteChange, &changed);
    return result;
}

} // namespace feedline::gains
