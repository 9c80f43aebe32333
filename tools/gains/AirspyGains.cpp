// SPDX-License-Identifier: MIT
#include "tools/gains/AirspyGains.h"

#include "platform/dbus/Names.h"
#include "tools/gains/Bus.h"
#include "tools/gains/ThisMachine.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace feedline::gains {

namespace {

using namespace std::chrono_literals;

// For a bus and for a server that keep silent; short enough for an end within a second.
constexpr auto answerLimit = 450ms;
constexpr auto searchInterval = 2s; ///< also for a server that has not answered

/// What a server says of itself.
struct Controls {
    std::string port;
    std::string openDevice;
    Values values{};
};

// Takes a property that is wanted, in the type that it has; skips any other.
void readProperty(sd_bus_message* message, const std::string& name, const std::string& type,
                  Controls& controls) {
    const auto* const gain = std::find_if(table.begin(), table.end(),
                                          [&](const Gain& each) { return name == each.property; });
    if (name == "Port" && type == "s")
        controls.port = readText(message);
    else if (name == "OpenDevice" && type == "s")
        controls.openDevice = readText(message);
    else if (gain != table.end() && (type == "b" || type == "i"))
        sd_bus_message_read_basic(
            message, type.front(),
            &controls.values.at(static_cast<std::size_t>(std::distance(table.begin(), gain))));
    else
        sd_bus_message_skip(message, type.c_str());
}

std::optional<Controls> ask(sd_bus* bus) {
    const Message call = newCall(bus, propertiesInterface, "GetAll");
    sd_bus_message_append(call.get(), "s", dbus::interface);
    sd_bus_message* answer = nullptr;
    if (sd_bus_call(bus, call.get(), 0, nullptr, &answer) < 0)
        return std::nullopt;
    const Message kept(answer);
    Controls controls;
    readProperties(answer,
                   [&](sd_bus_message* message, const std::string& name, const std::string& type) {
                       readProperty(message, name, type, controls);
                   });
    return controls;
}

// A refusal shows in the values, which are asked for after it. False when there is no answer.
bool send(sd_bus* bus, const Gain& gain, std::int32_t value) {
    const Message call = newCall(bus, propertiesInterface, "Set");
    sd_bus_message_append(call.get(), "ssv", dbus::interface, gain.property,
                          gain.isSwitch() ? "b" : "i", value);
    sd_bus_message* answer = nullptr;
    const int result = sd_bus_call(bus, call.get(), 0, nullptr, &answer);
    const Message kept(answer);
    return result != -ETIMEDOUT;
}

} // namespace

class AirspyGains::Body {
public:
    Body(const std::string& host, std::uint16_t port, std::function<void()> changed)
        : port_(std::to_string(port)), changed_(std::move(changed)),
          wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (isThisMachine(host))
            thread_ = std::thread([this] { live(); });
        else
            looked_ = true;
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    ~Body() {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        wake();
        if (thread_.joinable())
            thread_.join();
        close(wake_);
    }

    bool settle(std::chrono::milliseconds limit) const {
        std::unique_lock lock(mutex_);
        return settled_.wait_for(lock, limit,
                                 [this] { return looked_ && !sending_ && wanted_.empty(); });
    }

    std::optional<Values> values() const {
        const std::lock_guard lock(mutex_);
        return values_;
    }

    bool set(std::size_t place, std::int32_t value) {
        {
            const std::lock_guard lock(mutex_);
            if (!values_ || place >= table.size())
                return false;
            const Gain& gain = table.at(place);
            wanted_[place] = std::clamp(value, 0, gain.isSwitch() ? 1 : gain.highest);
        }
        wake();
        return true;
    }

private:
    void live();
    void search();
    void serve(sd_bus* bus);
    bool look(sd_bus* bus);
    bool sendWanted(sd_bus* bus);
    bool rest(sd_bus* bus, std::chrono::milliseconds limit) const;
    void know(const std::optional<Values>& values);

    bool ending() const {
        const std::lock_guard lock(mutex_);
        return ending_;
    }
    void wake() const { eventfd_write(wake_, 1); }
    void waitForWake(std::chrono::milliseconds limit) const {
        pollfd awaited{.fd = wake_, .events = POLLIN, .revents = 0};
        poll(&awaited, 1, static_cast<int>(limit.count()));
        eventfd_t ignored = 0;
        eventfd_read(wake_, &ignored);
    }

    const std::string port_;
    const std::function<void()> changed_;
    const int wake_; ///< something is wanted, or the end has come

    mutable std::mutex mutex_; ///< guards everything up to the thread
    mutable std::condition_variable settled_;
    bool ending_ = false;
    bool looked_ = false;
    bool sending_ = false; ///< what was wanted, up to the look that follows
    std::optional<Values> values_;
    std::map<std::size_t, std::int32_t> wanted_; ///< by place

    std::thread thread_;
};

void AirspyGains::Body::live() {
    while (!ending()) {
        search();
        know(std::nullopt);
        if (!ending())
            waitForWake(searchInterval);
    }
}

// As long as there is a server on it, one bus is enough.
void AirspyGains::Body::search() {
    for (const bool system : {false, true}) {
        const Bus bus = openBus(system, answerLimit);
        if (!bus || serverOn(bus.get()).empty())
            continue;
        return serve(bus.get());
    }
}

void AirspyGains::Body::serve(sd_bus* bus) {
    constexpr std::chrono::milliseconds forEver{-1};
    bool changed = true;
    bool answered = true;
    if (watchServer(bus, changed) < 0)
        return;
    while (!ending()) {
        const bool sent = sendWanted(bus);
        if (std::exchange(changed, false) || sent || !answered) {
            if (serverOn(bus).empty())
                return;
            answered = look(bus);
        }
        int progress = 0;
        while ((progress = sd_bus_process(bus, nullptr)) > 0) {
        }
        if (progress < 0 || (!changed && !rest(bus, answered ? forEver : searchInterval)))
            return;
    }
}

// False when the server does not answer.
bool AirspyGains::Body::look(sd_bus* bus) {
    const auto controls = ask(bus);
    const bool ours = controls && controls->port == port_ && controls->openDevice == "AirSpy";
    know(ours ? std::optional(controls->values) : std::nullopt);
    return controls.has_value();
}

// Whether there was anything to send.
bool AirspyGains::Body::sendWanted(sd_bus* bus) {
    std::map<std::size_t, std::int32_t> wanted;
    {
        const std::lock_guard lock(mutex_);
        wanted.swap(wanted_);
        sending_ = !wanted.empty();
    }
    for (const auto& [place, value] : wanted)
        if (ending() || !send(bus, table.at(place), value))
            break;
    return !wanted.empty();
}

// Until the bus has something, somebody wants something, or the limit. False when the bus has gone.
bool AirspyGains::Body::rest(sd_bus* bus, std::chrono::milliseconds limit) const {
    const int events = sd_bus_get_events(bus);
    const int descriptor = sd_bus_get_fd(bus);
    if (events < 0 || descriptor < 0)
        return false;
    std::array<pollfd, 2> awaited{
        {{.fd = descriptor, .events = static_cast<short>(events), .revents = 0},
         {.fd = wake_, .events = POLLIN, .revents = 0}}};
    poll(awaited.data(), awaited.size(), static_cast<int>(limit.count()));
    eventfd_t ignored = 0;
    eventfd_read(wake_, &ignored);
    return true;
}

void AirspyGains::Body::know(const std::optional<Values>& values) {
    bool same = false;
    {
        const std::lock_guard lock(mutex_);
        same = values == values_;
        values_ = values;
        looked_ = true;
        sending_ = false;
        if (!values)
            wanted_.clear();
    }
    settled_.notify_all();
    if (!same && changed_)
        changed_();
}

AirspyGains::AirspyGains(const std::string& host, std::uint16_t port, std::function<void()> changed)
    : body_(std::make_unique<Body>(host, port, std::move(changed))) {}
AirspyGains::~AirspyGains() = default;

bool AirspyGains::settle(std::chrono::milliseconds limit) const {
    return body_->settle(limit);
}

std::optional<Values> AirspyGains::values() const {
    return body_->values();
}

bool AirspyGains::set(std::size_t place, std::int32_t value) {
    return body_->set(place, value);
}

} // namespace feedline::gains
