// SPDX-License-Identifier: MIT
// The USB library's functions for transfers on the bulk endpoint. They complete inside
// libusb_handle_events_timeout_completed(), on the thread of its caller, and nowhere else.
#include "emulator/usb/Exported.h"
#include "emulator/usb/ProcessBus.h"

#include <algorithm>
#include <cstdlib>

using feedline::emulator::Bus;
using feedline::emulator::Device;
using feedline::emulator::Fault;
using feedline::emulator::Lock;
using feedline::emulator::Pending;
using feedline::emulator::processBus;
using feedline::emulator::StreamSettings;

namespace {

using Clock = std::chrono::steady_clock;
using Instant = feedline::emulator::SampleClock::Instant;

constexpr unsigned char bulkIn = 0x81;

/// A transfer that has left its queue, and how it ends.
struct Ready {
    libusb_transfer* transfer = nullptr;
    libusb_transfer_status status = LIBUSB_TRANSFER_COMPLETED;
    std::uint64_t position = 0;
    int length = 0;
};

/// A fault may strike instead of the samples, or cut them short.
void deliver(Device& device, const Pending& pending, Ready& ready) {
    ready.position = pending.position;
    ready.length = ready.transfer->length;
    ++device.delivered;
    const auto fault = device.faults.strike("transfer");
    if (!fault)
        return;
    if (fault->action == Fault::Action::shorten) {
        ready.length = std::min(ready.length, static_cast<int>(fault->value));
        return;
    }
    ready.status = static_cast<libusb_transfer_status>(fault->value);
    ready.length = 0;
    device.halted = ready.status == LIBUSB_TRANSFER_STALL;
}

/// The transfer that can end now, if one can: those that were cancelled first, then in the order of
/// the queue.
std::optional<Ready> takeFrom(libusb_device_handle& handle, Instant now) {
    auto& queue = handle.queue;
    Device& device = *handle.opened->device;
    auto chosen = std::find_if(queue.begin(), queue.end(), [](auto& p) { return p.cancelled; });
    if (chosen == queue.end())
        chosen = queue.begin();
    if (chosen == queue.end())
        return {};
    Ready ready;
    ready.transfer = chosen->transfer;
    if (chosen->cancelled)
        ready.status = LIBUSB_TRANSFER_CANCELLED;
    else if (device.gone(handle))
        ready.status = LIBUSB_TRANSFER_NO_DEVICE;
    else if (device.halted)
        ready.status = LIBUSB_TRANSFER_STALL;
    else if (chosen->scheduled && !device.silent && chosen->due <= now) {
        device.waitForHost(queue, chosen->due, now);
        deliver(device, *chosen, ready);
    } else
        return {};
    queue.erase(chosen);
    return ready;
}

std::optional<Ready> takeReady(libusb_context& context, Instant now) {
    for (const auto& handle : context.handles)
        if (auto ready = takeFrom(*handle, now))
            return ready;
    return {};
}

/// When the next transfer can end, as far as is known now.
Instant nextDue(const libusb_context& context, Instant latest) {
    Instant next = latest;
    for (const auto& handle : context.handles)
        if (!handle->queue.empty() && handle->queue.front().scheduled &&
            !handle->opened->device->silent)
            next = std::min(next, handle->queue.front().due);
    return next;
}

void fill(Device& device, const StreamSettings& settings, const Ready& ready) {
    const std::lock_guard<std::mutex> feeding(device.feeding);
    device.feed->fill(settings, ready.position, ready.transfer->buffer,
                      static_cast<std::size_t>(ready.length));
}

/// Ends one transfer, with the bus free for everybody else meanwhile.
void complete(Lock& lock, const Ready& ready) {
    Device& device = *ready.transfer->dev_handle->opened->device;
    const StreamSettings settings = device.streamSettings();
    lock.unlock();
    if (ready.length > 0)
        fill(device, settings, ready);
    ready.transfer->status = ready.status;
    ready.transfer->actual_length = ready.length;
    ready.transfer->callback(ready.transfer);
    lock.lock();
}

/// Ends what can end now, each transfer once: a stream without a clock would never let go.
bool completeReady(Lock& lock, libusb_context& context) {
    std::size_t most = 0;
    for (const auto& handle : context.handles)
        most += handle->queue.size();
    std::size_t count = 0;
    for (; count < most; ++count) {
        const auto ready = takeReady(context, Clock::now());
        if (!ready)
            break;
        complete(lock, *ready);
    }
    return count > 0;
}

Instant after(const timeval* time) {
    return Clock::now() + std::chrono::seconds(time->tv_sec) +
           std::chrono::microseconds(time->tv_usec);
}

auto find(libusb_device_handle& handle, const libusb_transfer* transfer) {
    return std::find_if(handle.queue.begin(), handle.queue.end(),
                        [&](const Pending& p) { return p.transfer == transfer; });
}

/// Forgets a transfer wherever it is queued.
void forget(Bus& bus, const libusb_transfer* transfer) {
    for (libusb_context* context : bus.contexts)
        for (const auto& handle : context->handles)
            std::erase_if(handle->queue, [&](const Pending& p) { return p.transfer == transfer; });
}

} // namespace

FEEDLINE_EXPORTED libusb_transfer* libusb_alloc_transfer(int packets) {
    const std::size_t size =
        sizeof(libusb_transfer) +
        static_cast<std::size_t>(std::max(packets, 0)) * sizeof(libusb_iso_packet_descriptor);
    return static_cast<libusb_transfer*>(std::calloc(1, size));
}

FEEDLINE_EXPORTED void libusb_free_transfer(libusb_transfer* transfer) {
    if (transfer == nullptr)
        return;
    Bus& bus = processBus();
    const Lock lock(bus.mutex);
    forget(bus, transfer);
    if ((transfer->flags & LIBUSB_TRANSFER_FREE_BUFFER) != 0)
        std::free(transfer->buffer);
    std::free(transfer);
}

FEEDLINE_EXPORTED int libusb_submit_transfer(libusb_transfer* transfer) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    libusb_device_handle& handle = *transfer->dev_handle;
    if (const auto instead = bus.enter(lock, handle, "submit"))
        return *instead;
    if (transfer->endpoint != bulkIn || transfer->type != LIBUSB_TRANSFER_TYPE_BULK ||
        handle.opened->device->holder != &handle)
        return LIBUSB_ERROR_INVALID_PARAM;
    // The vendors' libraries stop handling events before every cancellation has been told, and may
    // queue a transfer once more in the very moment they stop. All are used again for the next
    // start, so one that is still queued takes its new place instead of being refused.
    std::erase_if(handle.queue, [&](const Pending& p) { return p.transfer == transfer; });
    Pending pending;
    pending.transfer = transfer;
    bus.schedule(*handle.opened->device, handle.queue, pending);
    handle.queue.push_back(pending);
    bus.changed.notify_all();
    return 0;
}

FEEDLINE_EXPORTED int libusb_cancel_transfer(libusb_transfer* transfer) {
    Bus& bus = processBus();
    const Lock lock(bus.mutex);
    libusb_device_handle& handle = *transfer->dev_handle;
    const auto pending = find(handle, transfer);
    if (pending == handle.queue.end() || pending->cancelled)
        return LIBUSB_ERROR_NOT_FOUND;
    pending->cancelled = true;
    bus.changed.notify_all();
    return 0;
}

FEEDLINE_EXPORTED int libusb_handle_events_timeout_completed(libusb_context* context, timeval* time,
                                                             int* completed) {
    Bus& bus = processBus();
    libusb_context& of = context == nullptr ? bus.fallback : *context;
    const Instant end = after(time);
    const std::lock_guard<std::mutex> alone(of.handlingEvents);
    Lock lock(bus.mutex);
    while (completed == nullptr || *completed == 0) {
        if (completeReady(lock, of) || Clock::now() >= end)
            break;
        bus.changed.wait_until(lock, nextDue(of, end));
    }
    return 0;
}
