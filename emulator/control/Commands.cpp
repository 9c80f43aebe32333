// SPDX-License-Identifier: MIT
#include "emulator/control/Commands.h"

#include "emulator/signals/Text.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace feedline::emulator {
namespace {

using Words = std::vector<std::string>;

[[noreturn]] void refuse(const std::string& reason) {
    throw std::runtime_error(reason);
}

constexpr std::array<std::pair<const char*, long>, 10> results{{
    {"io", LIBUSB_ERROR_IO},
    {"invalid", LIBUSB_ERROR_INVALID_PARAM},
    {"access", LIBUSB_ERROR_ACCESS},
    {"no-device", LIBUSB_ERROR_NO_DEVICE},
    {"not-found", LIBUSB_ERROR_NOT_FOUND},
    {"busy", LIBUSB_ERROR_BUSY},
    {"timeout", LIBUSB_ERROR_TIMEOUT},
    {"overflow", LIBUSB_ERROR_OVERFLOW},
    {"stall", LIBUSB_ERROR_PIPE},
    {"no-memory", LIBUSB_ERROR_NO_MEM},
}};

constexpr std::array<std::pair<const char*, long>, 5> statuses{{
    {"error", LIBUSB_TRANSFER_ERROR},
    {"timeout", LIBUSB_TRANSFER_TIMED_OUT},
    {"stall", LIBUSB_TRANSFER_STALL},
    {"no-device", LIBUSB_TRANSFER_NO_DEVICE},
    {"overflow", LIBUSB_TRANSFER_OVERFLOW},
}};

template <std::size_t Size>
std::optional<long> named(const std::array<std::pair<const char*, long>, Size>& names,
                          const std::string& text) {
    for (const auto& [name, value] : names)
        if (text == name)
            return value;
    return {};
}

long natural(const std::string& text) {
    const auto value = wholeNumber(text);
    if (!value || *value < 0)
        refuse("not a number from 0 up: " + text);
    return *value;
}

std::string pointOf(const std::string& text) {
    constexpr std::array<const char*, 9> points{"open",   "string",    "configuration",
                                                "claim",  "alternate", "clear-halt",
                                                "submit", "transfer",  "request:*"};
    if (std::find(points.begin(), points.end(), text) != points.end())
        return text;
    if (!text.starts_with("request:"))
        refuse("unknown point: " + text);
    return "request:" + std::to_string(natural(text.substr(8)));
}

/// What comes behind a fault: `at N`, `always`.
void readMoment(Fault& fault, const Words& line, std::size_t from) {
    for (std::size_t i = from; i < line.size(); ++i) {
        if (line[i] == "always") {
            fault.always = true;
        } else if (line[i] == "at" && i + 1 < line.size()) {
            fault.at = static_cast<unsigned long>(natural(line[++i]));
        } else {
            refuse("expected at N or always: " + line[i]);
        }
    }
    if (fault.at == 0)
        refuse("calls are counted from 1");
}

void readTransferResult(Fault& fault, const std::string& text) {
    if (text.starts_with("short:")) {
        fault.action = Fault::Action::shorten;
        fault.value = natural(text.substr(6));
    } else if (const auto status = named(statuses, text)) {
        fault.value = *status;
    } else {
        refuse("unknown transfer result: " + text);
    }
}

void readResult(Fault& fault, const std::string& text) {
    if (fault.point == "transfer") {
        readTransferResult(fault, text);
        return;
    }
    const auto result = named(results, text);
    const auto value = result ? result : wholeNumber(text);
    if (!value)
        refuse("unknown result: " + text);
    fault.value = *value;
}

std::string fail(Bus&, Device& device, const Words& line) {
    if (line.size() < 4)
        refuse("fail DEVICE POINT RESULT [at N] [always]");
    Fault fault;
    fault.point = pointOf(line[2]);
    readResult(fault, line[3]);
    readMoment(fault, line, 4);
    device.faults.add(fault);
    return {};
}

/// Only calls can wait; a transfer that waits is a silent stream.
std::string waitingPoint(const std::string& text) {
    std::string point = pointOf(text);
    if (point == "transfer")
        refuse("a transfer cannot wait; use silence");
    return point;
}

std::string delay(Bus&, Device& device, const Words& line) {
    if (line.size() < 4)
        refuse("delay DEVICE POINT MILLISECONDS [at N] [always]");
    Fault fault;
    fault.action = Fault::Action::delay;
    fault.point = waitingPoint(line[2]);
    fault.value = natural(line[3]);
    readMoment(fault, line, 4);
    device.faults.add(fault);
    return {};
}

std::string hang(Bus&, Device& device, const Words& line) {
    if (line.size() < 3)
        refuse("hang DEVICE POINT [at N] [always]");
    Fault fault;
    fault.action = Fault::Action::hang;
    fault.point = waitingPoint(line[2]);
    readMoment(fault, line, 3);
    device.faults.add(fault);
    return {};
}

/// Ends what waits or stands still, without touching faults that are still to come.
std::string resume(Bus& bus, Device& device, const Words&) {
    device.silent = false;
    ++device.releases;
    bus.changed.notify_all();
    return {};
}

std::string reset(Bus& bus, Device& device, const Words& line) {
    device.faults.clear();
    device.heldElsewhere.reset();
    device.halted = false;
    return resume(bus, device, line);
}

std::string claim(Bus&, Device& device, const Words& line) {
    const std::string how = line.size() > 2 ? line[2] : "busy";
    if (how != "busy" && how != "access")
        refuse("claim DEVICE [busy|access]");
    device.heldElsewhere = how == "busy" ? LIBUSB_ERROR_BUSY : LIBUSB_ERROR_ACCESS;
    return {};
}

std::string release(Bus&, Device& device, const Words&) {
    device.heldElsewhere.reset();
    return {};
}

std::string silence(Bus&, Device& device, const Words&) {
    device.silent = true;
    return {};
}

std::string list(const State& state) {
    std::string text;
    for (const auto& [name, value] : state)
        text.append(" ").append(name).append("=").append(value);
    return text;
}

std::string state(Bus&, Device& device, const Words&) {
    State all{{"device", device.name},
              {"serial", device.receiver->identity().serial.substr(
                             device.receiver->identity().serial.find(':') + 1)},
              {"plugged", device.plugged ? "1" : "0"},
              {"opened", std::to_string(device.opened)},
              {"claimed", device.holder != nullptr ? "1" : "0"}};
    const State own = device.receiver->state();
    all.insert(all.end(), own.begin(), own.end());
    all.emplace_back("delivered", std::to_string(device.delivered));
    all.emplace_back("dropped", std::to_string(device.dropped));
    all.emplace_back(
        "waited-ms",
        std::to_string(
            std::chrono::duration_cast<std::chrono::milliseconds>(device.waited).count()));
    all.emplace_back("position", std::to_string(device.nextPosition));
    if (device.clock)
        all.emplace_back("clock-ns",
                         std::to_string(device.clock->begin().time_since_epoch().count()));
    return list(all);
}

std::string calls(Bus&, Device& device, const Words&) {
    State all;
    for (const auto& [code, count] : device.calls)
        all.emplace_back(std::to_string(code), std::to_string(count));
    return list(all);
}

std::string forget(Bus&, Device& device, const Words&) {
    device.calls.clear();
    return {};
}

struct DeviceCommand {
    const char* name;
    std::string (*obey)(Bus&, Device&, const Words&);
};

constexpr std::array<DeviceCommand, 11> deviceCommands{{
    {"fail", fail},
    {"delay", delay},
    {"hang", hang},
    {"resume", resume},
    {"reset", reset},
    {"claim", claim},
    {"release", release},
    {"silence", silence},
    {"state", state},
    {"calls", calls},
    {"forget", forget},
}};

std::string obeyForDevice(Bus& bus, const Lock& lock, const Words& line) {
    if (line.size() < 2)
        refuse("which device?");
    Device* device = bus.find(line[1]);
    if (device == nullptr)
        refuse("no such device: " + line[1]);
    if (line[0] == "plug") {
        bus.plug(lock, *device);
        return {};
    }
    if (line[0] == "unplug") {
        bus.unplug(lock, *device);
        return {};
    }
    const auto* command =
        std::find_if(deviceCommands.begin(), deviceCommands.end(),
                     [&](const DeviceCommand& known) { return line[0] == known.name; });
    if (command == deviceCommands.end())
        refuse("unknown command: " + line[0]);
    return command->obey(bus, *device, line);
}

std::string obey(Bus& bus, const Lock& lock, const Words& line) {
    if (line.empty())
        refuse("no command");
    if (line[0] == "devices") {
        std::string names;
        for (const auto& device : bus.devices)
            names += " " + device->name + (device->plugged ? "" : "(unplugged)");
        return names;
    }
    if (line[0] == "speed") {
        const auto factor = line.size() == 2 ? speedOf(line[1]) : std::nullopt;
        if (!factor)
            refuse("speed FACTOR|max");
        bus.setSpeed(lock, *factor);
        return {};
    }
    return obeyForDevice(bus, lock, line);
}

} // namespace

std::string execute(Bus& bus, const std::string& line) {
    const Lock lock(bus.mutex);
    try {
        return "ok" + obey(bus, lock, words(line));
    } catch (const std::exception& error) {
        return std::string("error ") + error.what();
    }
}

} // namespace feedline::emulator
