// SPDX-License-Identifier: MIT
// The USB library's functions for requests on the control endpoint.
#include "emulator/usb/Exported.h"
#include "emulator/usb/ProcessBus.h"

using feedline::emulator::Bus;
using feedline::emulator::Device;
using feedline::emulator::Lock;
using feedline::emulator::processBus;
using feedline::emulator::Request;
using feedline::emulator::StreamSettings;

namespace {

constexpr std::uint8_t vendorToDevice = LIBUSB_REQUEST_TYPE_VENDOR; // the recipient device is 0

/// Whether samples now come at other times or in another shape than before.
bool streamsDiffer(const StreamSettings& one, const StreamSettings& other) {
    return one.view.rate != other.view.rate || one.format != other.format;
}

int answer(Bus& bus, const Lock& lock, Device& device, const Request& request) {
    const StreamSettings before = device.streamSettings();
    const bool wasStreaming = device.receiver->streaming();
    const int result = device.receiver->answer(request);
    if (device.receiver->streaming() != wasStreaming ||
        streamsDiffer(before, device.streamSettings()))
        bus.restartStream(lock, device);
    return result;
}

} // namespace

FEEDLINE_EXPORTED int libusb_control_transfer(libusb_device_handle* handle, std::uint8_t type,
                                              std::uint8_t code, std::uint16_t value,
                                              std::uint16_t index, unsigned char* data,
                                              std::uint16_t length, unsigned) {
    Bus& bus = processBus();
    Device& device = *handle->opened->device;
    Lock lock(bus.mutex);
    ++device.calls[code];
    if (const auto instead = bus.enter(lock, *handle, "request:" + std::to_string(code)))
        return *instead;
    if ((type & ~LIBUSB_ENDPOINT_IN) != vendorToDevice)
        return LIBUSB_ERROR_PIPE;
    const bool in = (type & LIBUSB_ENDPOINT_IN) != 0;
    const int result = answer(bus, lock, device, {in, code, value, index, data, length});
    const auto view = device.streamSettings().view;
    // A station that comes into view has to be made, which takes longer than a stream can wait.
    lock.unlock();
    device.content->prepare(view);
    return result;
}

FEEDLINE_EXPORTED int libusb_clear_halt(libusb_device_handle* handle, unsigned char) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    if (const auto instead = bus.enter(lock, *handle, "clear-halt"))
        return *instead;
    handle->opened->device->halted = false;
    return 0;
}
