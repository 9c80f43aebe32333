// SPDX-License-Identifier: MIT
#include "emulator/bus/Bus.h"

#include "emulator/receivers/AirspyReceiver.h"
#include "emulator/signals/Band.h"

#include <algorithm>

namespace feedline::emulator {
namespace {

using Clock = std::chrono::steady_clock;

std::string nameOf(Kind kind, unsigned number) {
    const std::string name = kind == Kind::hf ? "hf" : "airspy";
    return number == 0 ? name : name + std::to_string(number + 1);
}

std::unique_ptr<Content> contentFor(Kind kind, const Config& config) {
    if (config.recording)
        return std::make_unique<Recording>(*config.recording, kind == Kind::airspy);
    return std::make_unique<Band>(config.scene);
}

std::unique_ptr<Receiver> receiverFor(Kind kind, unsigned number, const Config& config,
                                      const Content& content) {
    if (kind == Kind::hf)
        return std::make_unique<HfReceiver>(number, config.hfRates, content);
    return std::make_unique<AirspyReceiver>(number, config.airspyRates, content);
}

} // namespace

Device::Device(std::string deviceName, std::unique_ptr<Content> deviceContent,
               std::unique_ptr<Receiver> deviceReceiver)
    : name(std::move(deviceName)), content(std::move(deviceContent)),
      receiver(std::move(deviceReceiver)), feed(std::make_unique<Feed>(*content)) {}

bool Device::gone(const libusb_device_handle& handle) const {
    return !plugged || handle.opened->appearance != appearance;
}

Bus::Bus(const Config& config) : speed_(config.speed) {
    for (Kind kind : config.devices)
        attach(kind, config);
}

void Bus::attach(Kind kind, const Config& config) {
    const std::string stem = nameOf(kind, 0);
    const auto number = static_cast<unsigned>(
        std::count_if(devices.begin(), devices.end(),
                      [&](const auto& device) { return device->name.starts_with(stem); }));
    auto content = contentFor(kind, config);
    auto receiver = receiverFor(kind, number, config, *content);
    devices.push_back(
        std::make_unique<Device>(nameOf(kind, number), std::move(content), std::move(receiver)));
    devices.back()->patience = config.patience;
}

Device* Bus::find(const std::string& name) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const auto& device) { return device->name == name; });
    return found == devices.end() ? nullptr : found->get();
}

void Bus::plug(const Lock&, Device& device) {
    if (device.plugged)
        return;
    ++device.appearance;
    device.receiver->powerUp();
    device.plugged = true;
    device.holder = nullptr;
    device.halted = false;
    device.clock.reset();
    changed.notify_all();
}

void Bus::unplug(const Lock&, Device& device) {
    device.plugged = false;
    changed.notify_all();
}

void Bus::setSpeed(const Lock& lock, double factor) {
    speed_ = factor;
    for (const auto& device : devices)
        restartStream(lock, *device);
}

std::optional<int> Bus::enter(Lock& lock, const libusb_device_handle& handle,
                              const std::string& point) {
    Device& device = *handle.opened->device;
    const auto gone = [&] {
        return device.gone(handle);
    };
    if (gone())
        return LIBUSB_ERROR_NO_DEVICE;
    const auto fault = device.faults.strike(point);
    if (!fault)
        return {};
    if (fault->action == Fault::Action::fail)
        return static_cast<int>(fault->value);
    const unsigned releases = device.releases;
    const auto free = [&] {
        return gone() || device.releases != releases;
    };
    if (fault->action == Fault::Action::delay)
        changed.wait_until(lock, Clock::now() + std::chrono::milliseconds(fault->value), free);
    else
        changed.wait(lock, free);
    return gone() ? std::optional<int>(LIBUSB_ERROR_NO_DEVICE) : std::nullopt;
}

void Device::waitForHost(std::deque<Pending>& queued, SampleClock::Instant due,
                         SampleClock::Instant now) {
    if (!patience || !clock || now - due <= *patience)
        return;
    clock->postpone(now - due);
    waited += now - due;
    for (Pending& pending : queued)
        pending.due += now - due;
}

void Bus::schedule(Device& device, std::deque<Pending>& queued, Pending& pending) const {
    if (!device.receiver->streaming())
        return;
    const StreamSettings settings = device.streamSettings();
    const auto now = Clock::now(); // Once, or the clock's own start would already be late.
    if (!device.clock) {
        device.clock.emplace(now, settings.view.rate * speed_);
        device.clockBase = device.nextPosition;
    }
    // A host that is behind is as late as with the transfer that it should have taken first.
    const bool behind = !queued.empty() && queued.front().scheduled;
    device.waitForHost(queued,
                       behind ? queued.front().due
                              : device.clock->due(device.nextPosition - device.clockBase),
                       now);
    const std::uint64_t present = device.clockBase + device.clock->positionAt(now);
    if (present > device.nextPosition) {
        device.dropped += present - device.nextPosition;
        device.nextPosition = present;
    }
    pending.position = device.nextPosition;
    device.nextPosition +=
        samplesIn(settings.format, static_cast<std::size_t>(pending.transfer->length));
    pending.due = device.clock->due(device.nextPosition - device.clockBase);
    pending.scheduled = true;
}

void Bus::restartStream(const Lock&, Device& device) {
    device.clock.reset();
    for (libusb_context* context : contexts)
        for (const auto& handle : context->handles)
            if (handle->opened->device == &device)
                for (Pending& pending : handle->queue) {
                    pending.scheduled = false;
                    schedule(device, handle->queue, pending);
                }
    changed.notify_all();
}

} // namespace feedline::emulator
