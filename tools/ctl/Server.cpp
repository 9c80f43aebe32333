// SPDX-License-Identifier: MIT
#include "tools/ctl/Server.h"

#include "platform/dbus/Names.h"
#include "tools/ctl/Failure.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

namespace feedline::ctl {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto answerLimit = 5s; ///< with a bus or a server that keeps silent
constexpr auto retryInterval = 200ms;

using gains::Message;
using gains::microseconds;
using gains::newCall;
using gains::propertiesInterface;
using gains::readText;

struct BusError {
    BusError() = default;
    ~BusError() { sd_bus_error_free(&error); }
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    bool is(const char* name) const { return sd_bus_error_has_name(&error, name) != 0; }
    sd_bus_error error = SD_BUS_ERROR_NULL;
};

const char* nameOf(bool systemBus) {
    return systemBus ? "system bus" : "session bus";
}

[[noreturn]] void fail(const BusError& error, int result, bool systemBus) {
    const std::string text =
        error.error.message != nullptr ? error.error.message : std::strerror(-result);
    if (error.is(SD_BUS_ERROR_INVALID_ARGS))
        throw Failure(ExitStatus::badArguments, text);
    if (error.is(dbus::alertShownError))
        throw Failure(ExitStatus::refused, text);
    if (error.is(SD_BUS_ERROR_SERVICE_UNKNOWN) || error.is(SD_BUS_ERROR_NAME_HAS_NO_OWNER))
        throw Failure(ExitStatus::noServer, std::string("no server on the ") + nameOf(systemBus));
    if (error.is(SD_BUS_ERROR_ACCESS_DENIED))
        throw Failure(ExitStatus::noAnswer,
                      std::string("the ") + nameOf(systemBus) +
                          " does not let you: members of the group feedline may");
    if (error.is(SD_BUS_ERROR_NO_REPLY) || result == -ETIMEDOUT)
        throw Failure(ExitStatus::noAnswer, "the server does not answer");
    throw Failure(ExitStatus::noAnswer, text);
}

std::int32_t readNumber(sd_bus_message* message, char type) {
    std::int32_t number = 0; // A boolean of the bus is an int to the library, too.
    sd_bus_message_read_basic(message, type, &number);
    return number;
}

std::vector<std::string> readTexts(sd_bus_message* message) {
    std::vector<std::string> texts;
    sd_bus_message_enter_container(message, 'a', "s");
    const char* text = nullptr;
    while (sd_bus_message_read_basic(message, 's', &text) > 0)
        texts.emplace_back(text);
    sd_bus_message_exit_container(message);
    return texts;
}

std::string* textNamed(ServerStatus& status, const std::string& name) {
    const std::array<std::pair<const char*, std::string*>, 10> texts{
        {{"Program", &status.program},
         {"Version", &status.version},
         {"TcpStatus", &status.tcpStatus},
         {"RemoteAddress", &status.remoteAddress},
         {"Running", &status.running},
         {"CenterFrequency", &status.centerFrequency},
         {"Port", &status.port},
         {"Address", &status.address},
         {"Device", &status.device},
         {"OpenDevice", &status.openDevice}}};
    for (const auto& [property, text] : texts)
        if (name == property)
            return text;
    return nullptr;
}

std::int32_t* gainNamed(ServerStatus& status, const std::string& name) {
    for (std::size_t i = 0; i < gains::table.size(); ++i)
        if (name == gains::table.at(i).property)
            return &status.gain.at(i);
    return nullptr;
}

/// Takes a property that this program knows, in the type it knows; skips any other.
void readProperty(sd_bus_message* message, const std::string& name, const std::string& type,
                  ServerStatus& status) {
    std::string* const text = textNamed(status, name);
    std::int32_t* const gain = gainNamed(status, name);
    if (text != nullptr && type == "s") {
        *text = readText(message);
    } else if (gain != nullptr && (type == "b" || type == "i")) {
        *gain = readNumber(message, type.front());
    } else if (name == "Listening" && type == "b") {
        status.listening = readNumber(message, 'b') != 0;
    } else if ((name == "Devices" || name == "HeldDevices") && type == "as") {
        (name == "Devices" ? status.devices : status.heldDevices) = readTexts(message);
    } else if (name == "LastAlert" && type == "(st)") {
        const char* alert = nullptr;
        sd_bus_message_read(message, "(st)", &alert, &status.alertTime);
        status.alert = alert != nullptr ? alert : "";
    } else {
        sd_bus_message_skip(message, type.c_str());
    }
}

/// Sends the call and waits for its answer.
Message answerTo(sd_bus* bus, sd_bus_message* call, bool systemBus,
                 std::chrono::microseconds limit = answerLimit) {
    BusError error;
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call(bus, call, microseconds(limit), &error.error, &answer);
    if (result < 0)
        fail(error, result, systemBus);
    return Message(answer);
}

/// The line for a search that was in vain.
std::string absence(Bus bus, bool session, bool system) {
    if (bus != Bus::any) {
        const std::string name = nameOf(bus == Bus::system);
        const bool there = bus == Bus::system ? system : session;
        return there ? "no server on the " + name : "no " + name + " here";
    }
    if (session && system)
        return "no server on the session bus or the system bus";
    if (!session && !system)
        return "neither a session bus nor a system bus here";
    return session ? "no server on the session bus, and no system bus here"
                   : "no session bus here, and no server on the system bus";
}

} // namespace

Server::Server(gains::Bus bus, bool system)
    : bus_(std::move(bus)), onSystemBus_(system), changed_(std::make_unique<bool>(false)) {}

Server Server::find(Bus bus, std::chrono::duration<double> wait) {
    const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(wait);
    for (;;) {
        std::array<bool, 2> busIsThere{};
        for (const bool system : {false, true}) {
            if (bus == (system ? Bus::session : Bus::system))
                continue;
            gains::Bus connection = gains::openBus(system, answerLimit);
            busIsThere.at(system ? 1 : 0) = connection != nullptr;
            if (connection == nullptr)
                continue;
            Server server(std::move(connection), system);
            if (!server.owner().empty())
                return server;
        }
        if (Clock::now() >= deadline)
            throw Failure(ExitStatus::noServer, absence(bus, busIsThere[0], busIsThere[1]));
        std::this_thread::sleep_for(retryInterval);
    }
}

/// The connection that has the server's name; empty when there is none.
std::string Server::owner() {
    BusError error;
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call_method(
        bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetNameOwner", &error.error, &answer, "s", dbus::busName);
    const Message kept(answer);
    if (error.is(SD_BUS_ERROR_NAME_HAS_NO_OWNER))
        return {};
    if (result < 0)
        fail(error, result, onSystemBus_);
    return readText(kept.get());
}

ServerStatus Server::status() {
    const Message call = newCall(bus_.get(), propertiesInterface, "GetAll");
    sd_bus_message_append(call.get(), "s", dbus::interface);
    const Message answer = answerTo(bus_.get(), call.get(), onSystemBus_);
    ServerStatus status;
    gains::readProperties(
        answer.get(), [&](sd_bus_message* message, const std::string& name,
                          const std::string& type) { readProperty(message, name, type, status); });
    status.onSystemBus = onSystemBus_;
    return status;
}

void Server::set(const std::string& property, const std::string& value) {
    const Message call = newCall(bus_.get(), propertiesInterface, "Set");
    sd_bus_message_append(call.get(), "ssv", dbus::interface, property.c_str(), "s", value.c_str());
    answerTo(bus_.get(), call.get(), onSystemBus_);
}

void Server::set(const std::string& property, std::int32_t value) {
    const Message call = newCall(bus_.get(), propertiesInterface, "Set");
    sd_bus_message_append(call.get(), "ssv", dbus::interface, property.c_str(), "i", value);
    answerTo(bus_.get(), call.get(), onSystemBus_);
}

void Server::set(const std::string& property, bool value) {
    const Message call = newCall(bus_.get(), propertiesInterface, "Set");
    sd_bus_message_append(call.get(), "ssv", dbus::interface, property.c_str(), "b", value ? 1 : 0);
    answerTo(bus_.get(), call.get(), onSystemBus_);
}

/// A receiver takes its time to open.
void Server::restart() {
    const Message call = newCall(bus_.get(), dbus::interface, "Restart");
    answerTo(bus_.get(), call.get(), onSystemBus_, 30s);
}

void Server::quit() {
    const std::string asked = owner();
    const Message call = newCall(bus_.get(), dbus::interface, "Quit");
    answerTo(bus_.get(), call.get(), onSystemBus_);
    const auto deadline = Clock::now() + answerLimit;
    while (owner() == asked) { // Another may be waiting for the name.
        if (Clock::now() >= deadline)
            throw Failure(ExitStatus::noAnswer, "the server was asked to end and is still there");
        std::this_thread::sleep_for(20ms);
    }
}

void Server::watch() {
    const int result = gains::watchServer(bus_.get(), *changed_);
    if (result < 0)
        fail(BusError(), result, onSystemBus_);
}

bool Server::awaitChange(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const int progress = sd_bus_process(bus_.get(), nullptr);
        if (progress < 0)
            throw Failure(ExitStatus::noServer,
                          std::string("the ") + nameOf(onSystemBus_) + " has gone");
        if (std::exchange(*changed_, false))
            return true;
        if (progress > 0)
            continue;
        const auto left = microseconds(deadline - Clock::now());
        if (left == 0 || sd_bus_wait(bus_.get(), left) < 0)
            return false;
    }
}

} // namespace feedline::ctl
