// SPDX-License-Identifier: MIT
#include "platform/dbus/BusConnection.h"

#include "platform/Log.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace feedline::dbus {
namespace {

constexpr int mostAtOnce = 64; ///< messages handled before the main thread's other work

/// Signals that a bus does not take pile up; beyond this many it counts as gone.
constexpr std::uint64_t mostUnsent = 1000;

Event newEvent() {
    sd_event* event = nullptr;
    if (sd_event_new(&event) < 0)
        fatal("no event loop for the bus");
    return Event(event);
}

Bus openBus(BusKind kind) {
    sd_bus* bus = nullptr;
    const int opened = kind == BusKind::system ? sd_bus_open_system(&bus) : sd_bus_open_user(&bus);
    return Bus(opened < 0 ? nullptr : bus);
}

/// Another server may have the name, which then comes here when that one ends. A bus that refuses
/// it, as a system bus without this program's policy does, is left as it is.
int ignoreAnswer(sd_bus_message* /*answer*/, void* /*place*/, sd_bus_error* /*error*/) {
    return 1;
}

bool isAlive(sd_bus* bus) {
    std::uint64_t unsent = 0;
    return sd_bus_is_open(bus) > 0 && sd_bus_get_n_queued_write(bus, &unsent) >= 0 &&
           unsent < mostUnsent;
}

} // namespace

BusKind busOfThisProcess() {
    const char* const starter = std::getenv("DBUS_STARTER_BUS_TYPE");
    const bool system = starter != nullptr && std::string_view(starter) == "system";
    return system ? BusKind::system : BusKind::session;
}

BusConnection::BusConnection(MainThread& mainThread, BusKind kind, std::string name,
                             std::function<void(sd_bus*)> prepare)
    : mainThread_(mainThread), kind_(kind), name_(std::move(name)), prepare_(std::move(prepare)),
      event_(newEvent()) {}

int BusConnection::descriptor() const {
    return sd_event_get_fd(event_.get());
}

/// True when there was something. On false everything is armed for the descriptor to show the next.
bool BusConnection::handleOne() {
    return sd_event_run(event_.get(), 0) > 0;
}

void BusConnection::dispatch() {
    if (dispatching_)
        return; // From inside a handler: the loop below goes on after it.
    dispatching_ = true;
    int handled = 0;
    while (handled < mostAtOnce && handleOne())
        ++handled;
    dispatching_ = false;
    if (handled < mostAtOnce || restIsTask_)
        return;
    restIsTask_ = true;
    mainThread_.perform([this] {
        restIsTask_ = false;
        dispatch();
    });
}

void BusConnection::connect() {
    bus_ = openBus(kind_);
    if (!bus_)
        return;
    sd_bus_set_exit_on_disconnect(bus_.get(), 0);
    prepare_(bus_.get());
    const bool joined =
        sd_bus_attach_event(bus_.get(), event_.get(), SD_EVENT_PRIORITY_NORMAL) >= 0 &&
        sd_bus_request_name_async(bus_.get(), nullptr, name_.c_str(), SD_BUS_NAME_QUEUE,
                                  ignoreAnswer, nullptr) >= 0;
    if (!joined)
        bus_.reset();
}

void BusConnection::keepConnected() {
    if (dispatching_)
        return;
    if (bus_ && !isAlive(bus_.get()))
        bus_.reset();
    if (!bus_)
        connect();
    dispatch();
}

} // namespace feedline::dbus
