// SPDX-License-Identifier: MIT
#include "BusCaller.h"

#include "Waiting.h"

#include <systemd/sd-bus.h>

#include <stdexcept>

namespace feedline::test {
namespace {

constexpr auto busName = "org.feedline.Server1";
constexpr auto objectPath = "/org/feedline/Server1";
constexpr auto serverInterface = "org.feedline.Server1";
constexpr auto propertiesInterface = "org.freedesktop.DBus.Properties";

void require(int result, const char* what) {
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + std::to_string(result));
}

int keep(sd_bus_message* answer, void* place, sd_bus_error* /*error*/) {
    *static_cast<sd_bus_message**>(place) = sd_bus_message_ref(answer);
    return 1;
}

int count(sd_bus_message* /*answer*/, void* counter, sd_bus_error* /*error*/) {
    ++*static_cast<int*>(counter);
    return 1;
}

int noteChanges(sd_bus_message* signal, void* changed, sd_bus_error* /*error*/) {
    auto& names = *static_cast<std::set<std::string>*>(changed);
    sd_bus_message_skip(signal, "s");
    sd_bus_message_enter_container(signal, 'a', "{sv}");
    while (sd_bus_message_enter_container(signal, 'e', "sv") > 0) {
        const char* name = nullptr;
        sd_bus_message_read(signal, "s", &name);
        sd_bus_message_skip(signal, "v");
        sd_bus_message_exit_container(signal);
        names.insert(name);
    }
    return 0;
}

} // namespace

void BusCaller::Close::operator()(sd_bus* bus) const {
    sd_bus_close_unref(bus);
}
void BusCaller::Close::operator()(sd_bus_message* message) const {
    sd_bus_message_unref(message);
}

BusCaller::BusCaller(const std::string& address) {
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus), "new bus");
    bus_.reset(bus);
    require(sd_bus_set_address(bus, address.c_str()), "bus address");
    require(sd_bus_set_bus_client(bus, 1), "bus client");
    require(sd_bus_start(bus), "bus start");
}

void BusCaller::process() {
    int progress = 0;
    do {
        progress = sd_bus_process(bus_.get(), nullptr);
        require(progress, "processing");
    } while (progress > 0);
}

BusCaller::Message BusCaller::newCall(const char* interface, const std::string& method) const {
    sd_bus_message* message = nullptr;
    require(sd_bus_message_new_method_call(bus_.get(), &message, busName, objectPath, interface,
                                           method.c_str()),
            "new call");
    sd_bus_message_set_auto_start(message, 0);
    return Message(message);
}

BusCaller::Message BusCaller::newCall(const char* interface, const std::string& method,
                                      const std::vector<std::string>& arguments) const {
    Message call = newCall(interface, method);
    for (const std::string& argument : arguments)
        require(sd_bus_message_append(call.get(), "s", argument.c_str()), "append");
    return call;
}

BusCaller::Message BusCaller::answerTo(const Message& call) {
    sd_bus_message* answer = nullptr;
    require(sd_bus_call_async(bus_.get(), nullptr, call.get(), keep, &answer, UINT64_MAX), "call");
    const bool came = waitUntil([&] {
        meanwhile();
        process();
        if (answer == nullptr)
            sd_bus_wait(bus_.get(), 500);
        return answer != nullptr;
    });
    if (!came)
        throw std::runtime_error("no answer");
    return Message(answer);
}

std::string BusCaller::outcome(const Message& call) {
    const Message answer = answerTo(call);
    const sd_bus_error* error = sd_bus_message_get_error(answer.get());
    if (error == nullptr)
        return {};
    return std::string(error->name) + " " + (error->message != nullptr ? error->message : "");
}

bool BusCaller::serverIsThere() {
    sd_bus_message* message = nullptr;
    require(sd_bus_message_new_method_call(bus_.get(), &message, "org.freedesktop.DBus",
                                           "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                           "NameHasOwner"),
            "new call");
    const Message call(message);
    require(sd_bus_message_append(call.get(), "s", busName), "append");
    const Message answer = answerTo(call);
    int owned = 0;
    require(sd_bus_message_read(answer.get(), "b", &owned), "read");
    return owned != 0;
}

bool BusCaller::awaitServer() {
    return waitUntil([this] { return serverIsThere(); });
}

BusCaller::Message BusCaller::read(const std::string& property, const char* type) {
    Message answer = answerTo(newCall(propertiesInterface, "Get", {serverInterface, property}));
    if (const sd_bus_error* error = sd_bus_message_get_error(answer.get()))
        throw std::runtime_error(property + ": " + error->message);
    require(sd_bus_message_enter_container(answer.get(), 'v', type), property.c_str());
    return answer;
}

std::string BusCaller::text(const std::string& property) {
    const Message answer = read(property, "s");
    const char* value = nullptr;
    require(sd_bus_message_read(answer.get(), "s", &value), "read");
    return value;
}

bool BusCaller::flag(const std::string& property) {
    const Message answer = read(property, "b");
    int value = 0;
    require(sd_bus_message_read(answer.get(), "b", &value), "read");
    return value != 0;
}

std::int32_t BusCaller::number(const std::string& property) {
    const Message answer = read(property, "i");
    std::int32_t value = 0;
    require(sd_bus_message_read(answer.get(), "i", &value), "read");
    return value;
}

std::vector<std::string> BusCaller::texts(const std::string& property) {
    const Message answer = read(property, "as");
    require(sd_bus_message_enter_container(answer.get(), 'a', "s"), "read");
    std::vector<std::string> values;
    for (const char* value = nullptr; sd_bus_message_read(answer.get(), "s", &value) > 0;)
        values.emplace_back(value);
    return values;
}

BusCaller::Alert BusCaller::lastAlert() {
    const Message answer = read("LastAlert", "(st)");
    const char* value = nullptr;
    Alert alert{};
    require(sd_bus_message_read(answer.get(), "(st)", &value, &alert.time), "read");
    alert.text = value;
    return alert;
}

std::string BusCaller::set(const std::string& property, const std::string& value) {
    const Message call = newCall(propertiesInterface, "Set", {serverInterface, property});
    require(sd_bus_message_append(call.get(), "v", "s", value.c_str()), "append");
    return outcome(call);
}

std::string BusCaller::set(const std::string& property, const char* value) {
    return set(property, std::string(value));
}

std::string BusCaller::set(const std::string& property, std::int32_t value) {
    const Message call = newCall(propertiesInterface, "Set", {serverInterface, property});
    require(sd_bus_message_append(call.get(), "v", "i", value), "append");
    return outcome(call);
}

std::string BusCaller::set(const std::string& property, bool value) {
    const Message call = newCall(propertiesInterface, "Set", {serverInterface, property});
    require(sd_bus_message_append(call.get(), "v", "b", value ? 1 : 0), "append");
    return outcome(call);
}

std::string BusCaller::call(const std::string& method) {
    return outcome(newCall(serverInterface, method));
}

std::string BusCaller::introspection() {
    const Message answer = answerTo(newCall("org.freedesktop.DBus.Introspectable", "Introspect"));
    const char* xml = nullptr;
    require(sd_bus_message_read(answer.get(), "s", &xml), "read");
    return xml;
}

void BusCaller::send(const std::string& method) {
    const Message call = newCall(serverInterface, method);
    require(sd_bus_call_async(bus_.get(), nullptr, call.get(), count, answers_.get(), UINT64_MAX),
            "call");
    sd_bus_flush(bus_.get());
}

void BusCaller::watch() {
    require(sd_bus_match_signal_async(bus_.get(), nullptr, nullptr, objectPath, propertiesInterface,
                                      "PropertiesChanged", noteChanges, nullptr, changed_.get()),
            "match");
    serverIsThere(); // Answered after the match has been taken.
}

} // namespace feedline::test
