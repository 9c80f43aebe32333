// SPDX-License-Identifier: MIT
#include "platform/dbus/ServerObject.h"

#include "platform/dbus/Names.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <utility>

namespace feedline::dbus {
namespace {

constexpr std::chrono::seconds lookInterval{1};
constexpr std::size_t mostWaiting = 16; ///< calls of Restart

int append(sd_bus_message* answer, bool value) {
    const int number = value ? 1 : 0; // A boolean of the bus is an int to the library.
    return sd_bus_message_append_basic(answer, 'b', &number);
}
int append(sd_bus_message* answer, std::int32_t value) {
    return sd_bus_message_append_basic(answer, 'i', &value);
}
/// A text from a settings file may be no UTF-8, which the bus does not carry.
int append(sd_bus_message* answer, const std::string& value) {
    const int appended = sd_bus_message_append_basic(answer, 's', value.c_str());
    return appended >= 0 ? appended : sd_bus_message_append_basic(answer, 's', "");
}
int append(sd_bus_message* answer, const std::vector<std::string>& value) {
    int result = sd_bus_message_open_container(answer, 'a', "s");
    for (const std::string& text : value)
        if (result >= 0)
            result = append(answer, text);
    return result < 0 ? result : sd_bus_message_close_container(answer);
}
int append(sd_bus_message* answer, const AlertRecord& value) {
    return sd_bus_message_append(answer, "(st)", value.text.c_str(), value.shownAt);
}

/// Reads a value of the same type as `sample`, which all that can be written are basic ones.
int readLike(sd_bus_message* call, const Value& sample, Value& value) {
    if (std::holds_alternative<bool>(sample)) {
        int number = 0;
        const int result = sd_bus_message_read_basic(call, 'b', &number);
        value = number != 0;
        return result;
    }
    if (std::holds_alternative<std::int32_t>(sample)) {
        std::int32_t number = 0;
        const int result = sd_bus_message_read_basic(call, 'i', &number);
        value = number;
        return result;
    }
    const char* text = nullptr;
    const int result = sd_bus_message_read_basic(call, 's', &text);
    value = std::string(result > 0 ? text : "");
    return result;
}

} // namespace

ServerObject::ServerObject(MainThread& mainThread, BusKind bus, ServerControls controls)
    : mainThread_(mainThread), controls_(std::move(controls)), properties_(propertiesOf(controls_)),
      connection_(mainThread, bus, busName, [this](sd_bus* connection) { addTo(connection); }) {
    fillTable();
}

void ServerObject::start() {
    takeChanges(); // Who comes to the bus later begins by reading.
    connection_.keepConnected();
    mainThread_.performRepeatedly(lookInterval, [this] {
        connection_.keepConnected();
        publish();
    });
}

/// Who may call is the bus's business: a session bus lets nobody else in, and the system bus has a
/// policy. Hence every entry is open to callers without privileges.
void ServerObject::fillTable() {
    constexpr std::uint64_t open = SD_BUS_VTABLE_UNPRIVILEGED;
    table_.push_back(SD_BUS_VTABLE_START(0));
    table_.push_back(SD_BUS_METHOD("Restart", "", "", restart, open));
    table_.push_back(SD_BUS_METHOD("Quit", "", "", quit, open));
    for (const Property& property : properties_) {
        const std::uint64_t flags =
            property.constant ? SD_BUS_VTABLE_PROPERTY_CONST : SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
        if (property.write)
            table_.push_back(SD_BUS_WRITABLE_PROPERTY(property.name, property.type, read, write, 0,
                                                      flags | open));
        else
            table_.push_back(SD_BUS_PROPERTY(property.name, property.type, read, 0, flags));
    }
    table_.push_back(SD_BUS_VTABLE_END);
}

void ServerObject::addTo(sd_bus* bus) {
    sd_bus_add_object_vtable(bus, nullptr, objectPath, interface, table_.data(), this);
}

const Property* ServerObject::find(const char* name) const {
    for (const Property& property : properties_)
        if (std::strcmp(property.name, name) == 0)
            return &property;
    return nullptr;
}

int ServerObject::read(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                       const char* name, sd_bus_message* answer, void* object,
                       sd_bus_error* /*error*/) {
    const Property* const property = static_cast<ServerObject*>(object)->find(name);
    return std::visit([answer](const auto& value) { return append(answer, value); },
                      property->read());
}

int ServerObject::write(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                        const char* name, sd_bus_message* call, void* object, sd_bus_error* error) {
    auto& self = *static_cast<ServerObject*>(object);
    const Property* const property = self.find(name);
    Value value;
    if (const int result = readLike(call, property->read(), value); result < 0)
        return result;
    const std::string problem = property->write(value);
    if (!problem.empty())
        return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, problem.c_str());
    self.publish();
    return 1;
}

/// The names of the properties that changed since the last time, constants apart.
std::vector<char*> ServerObject::takeChanges() {
    published_.resize(properties_.size());
    std::vector<char*> changed;
    for (std::size_t i = 0; i < properties_.size(); ++i) {
        Value value = properties_[i].read();
        if (value != published_[i] && !properties_[i].constant)
            changed.push_back(const_cast<char*>(properties_[i].name));
        published_[i] = std::move(value);
    }
    return changed;
}

void ServerObject::publish() {
    std::vector<char*> changed = takeChanges();
    if (changed.empty() || connection_.bus() == nullptr)
        return;
    changed.push_back(nullptr);
    sd_bus_emit_properties_changed_strv(connection_.bus(), objectPath, interface, changed.data());
    dispatch(); // What the bus did not take at once goes out when it can.
}

int ServerObject::restart(sd_bus_message* call, void* object, sd_bus_error* error) {
    auto& self = *static_cast<ServerObject*>(object);
    if (self.waiting_.size() >= mostWaiting)
        return sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED,
                                "too many calls of Restart are waiting");
    self.waiting_.emplace_back(sd_bus_message_ref(call));
    self.mainThread_.perform([&self] { self.runNextRestart(); });
    return 1;
}

void ServerObject::runNextRestart() {
    Message call = std::move(waiting_.front());
    waiting_.pop_front();
    if (controls_.alertShown()) {
        sd_bus_reply_method_errorf(call.get(), alertShownError,
                                   "the window shows an alert that waits for its user: %s",
                                   controls_.lastAlert().text.c_str());
        return;
    }
    running_.push_back(std::move(call));
    controls_.restart();
    publish();
    answerRestarts();
}

void ServerObject::alertShown() {
    publish();
    answerRestarts();
}

void ServerObject::answerRestarts() {
    for (const Message& call : std::exchange(running_, {}))
        sd_bus_reply_method_return(call.get(), nullptr);
}

int ServerObject::quit(sd_bus_message* call, void* object, sd_bus_error* /*error*/) {
    auto& self = *static_cast<ServerObject*>(object);
    if (!std::exchange(self.quitting_, true))
        self.mainThread_.perform([&self] { self.controls_.quit(); });
    return sd_bus_reply_method_return(call, nullptr);
}

} // namespace feedline::dbus
