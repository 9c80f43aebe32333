// SPDX-License-Identifier: MIT
#include "platform/SessionInhibitor.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <fcntl.h>
#include <unistd.h>

namespace feedline {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds longestAnswer{1500};
constexpr std::uint32_t inhibitIdle = 8; // in the session manager's set of flags

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct MessageReleaser {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusCloser>;
using Message = std::unique_ptr<sd_bus_message, MessageReleaser>;

Bus connect(int (*open)(sd_bus**)) {
    sd_bus* bus = nullptr;
    if (open(&bus) < 0)
        return nullptr;
    return Bus(bus);
}

Message methodCall(sd_bus* bus, const char* destination, const char* path, const char* interface) {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus, &message, destination, path, interface, "Inhibit") < 0)
        return nullptr;
    sd_bus_message_set_auto_start(message, 0);
    return Message(message);
}

int keepReply(sd_bus_message* reply, void* place, sd_bus_error* /*error*/) {
    static_cast<Message*>(place)->reset(sd_bus_message_ref(reply));
    return 1;
}

/// The answer to the call, null when there was none in time or it was an error. The library's own
/// synchronous call would wait without bound for a bus that accepts and then keeps silent.
Message answerTo(sd_bus* bus, sd_bus_message* call) {
    Message reply;
    if (sd_bus_call_async(bus, nullptr, call, keepReply, &reply, 0) < 0)
        return nullptr;
    const auto deadline = Clock::now() + longestAnswer;
    while (!reply) {
        const int progress = sd_bus_process(bus, nullptr);
        if (progress < 0)
            return nullptr;
        if (progress > 0)
            continue;
        const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0 || sd_bus_wait(bus, static_cast<std::uint64_t>(left.count())) < 0)
            return nullptr;
    }
    return sd_bus_message_is_method_error(reply.get(), nullptr) > 0 ? nullptr : std::move(reply);
}

/// The session manager's inhibitor lasts as long as the connection that asked for it.
std::shared_ptr<void> inhibitSession(const std::string& reason) {
    Bus bus = connect(sd_bus_open_user);
    if (!bus)
        return nullptr;
    const Message call = methodCall(bus.get(), "org.gnome.SessionManager",
                                    "/org/gnome/SessionManager", "org.gnome.SessionManager");
    if (!call || sd_bus_message_append(call.get(), "susu", "feedline", std::uint32_t{0},
                                       reason.c_str(), inhibitIdle) < 0)
        return nullptr;
    if (!answerTo(bus.get(), call.get()))
        return nullptr;
    return {std::move(bus)};
}

/// A descriptor as a token: closed with it.
std::shared_ptr<void> tokenFor(int descriptor) {
    if (descriptor < 0)
        return nullptr;
    return {new int(descriptor), [](int* held) {
                close(*held);
                delete held;
            }};
}

/// The login manager's inhibitor lasts as long as the descriptor in its answer is open.
std::shared_ptr<void> inhibitLogin(const std::string& reason) {
    const Bus bus = connect(sd_bus_open_system);
    if (!bus)
        return nullptr;
    const Message call = methodCall(bus.get(), "org.freedesktop.login1", "/org/freedesktop/login1",
                                    "org.freedesktop.login1.Manager");
    if (!call ||
        sd_bus_message_append(call.get(), "ssss", "idle", "Feedline", reason.c_str(), "block") < 0)
        return nullptr;
    const Message reply = answerTo(bus.get(), call.get());
    int descriptor = -1;
    if (!reply || sd_bus_message_read(reply.get(), "h", &descriptor) < 0)
        return nullptr;
    return tokenFor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0)); // The message closes its own.
}

} // namespace

std::shared_ptr<void> SessionInhibitor::beginActivity(std::uint64_t /*options*/,
                                                      const std::string& reason) {
    if (auto token = inhibitSession(reason))
        return token;
    return inhibitLogin(reason);
}

} // namespace feedline
