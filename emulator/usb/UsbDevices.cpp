// SPDX-License-Identifier: MIT
// The USB library's functions that find, open and claim devices.
#include "emulator/usb/Exported.h"
#include "emulator/usb/ProcessBus.h"

#include <algorithm>
#include <array>
#include <cstring>

using feedline::emulator::Bus;
using feedline::emulator::Device;
using feedline::emulator::Identity;
using feedline::emulator::Lock;
using feedline::emulator::processBus;

namespace {

enum StringIndex : std::uint8_t { manufacturerString = 1, productString = 2, serialString = 3 };

const std::string* stringOf(const Identity& identity, unsigned index) {
    switch (index) {
    case manufacturerString:
        return &identity.manufacturer;
    case productString:
        return &identity.name;
    case serialString:
        return &identity.serial;
    default:
        return nullptr;
    }
}

/// The context's object for a receiver as it is plugged in now.
libusb_device* listed(libusb_context& context, Device& device) {
    for (libusb_device& known : context.devices)
        if (known.device == &device && known.appearance == device.appearance)
            return &known;
    return &context.devices.emplace_back(libusb_device{&context, &device, device.appearance});
}

Device& deviceOf(libusb_device_handle* handle) {
    return *handle->opened->device;
}

/// Whether somebody else has the interface.
std::optional<int> takenElsewhere(const Device& device, const libusb_device_handle* handle) {
    if (device.heldElsewhere)
        return device.heldElsewhere;
    if (device.holder != nullptr && device.holder != handle)
        return LIBUSB_ERROR_BUSY;
    return {};
}

} // namespace

FEEDLINE_EXPORTED int libusb_init(libusb_context** context) {
    Bus& bus = processBus();
    if (context == nullptr)
        return 0;
    const Lock lock(bus.mutex);
    *context = bus.contexts.emplace_back(new libusb_context);
    return 0;
}

FEEDLINE_EXPORTED void libusb_exit(libusb_context* context) {
    if (context == nullptr)
        return;
    Bus& bus = processBus();
    const Lock lock(bus.mutex);
    std::erase(bus.contexts, context);
    delete context;
}

FEEDLINE_EXPORTED ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list) {
    Bus& bus = processBus();
    const Lock lock(bus.mutex);
    libusb_context& of = context == nullptr ? bus.fallback : *context;
    auto** devices = new libusb_device* [bus.devices.size() + 1] {
    };
    ssize_t count = 0;
    for (const auto& device : bus.devices)
        if (device->plugged)
            devices[count++] = listed(of, *device);
    *list = devices;
    return count;
}

FEEDLINE_EXPORTED void libusb_free_device_list(libusb_device** list, int) {
    delete[] list;
}

FEEDLINE_EXPORTED int libusb_get_device_descriptor(libusb_device* device,
                                                   libusb_device_descriptor* descriptor) {
    const Identity& identity = device->device->receiver->identity();
    *descriptor = {};
    descriptor->bLength = LIBUSB_DT_DEVICE_SIZE;
    descriptor->bDescriptorType = LIBUSB_DT_DEVICE;
    descriptor->bcdUSB = 0x0200;
    descriptor->bMaxPacketSize0 = 64;
    descriptor->idVendor = identity.vendor;
    descriptor->idProduct = identity.product;
    descriptor->bcdDevice = 0x0100;
    descriptor->iManufacturer = manufacturerString;
    descriptor->iProduct = productString;
    descriptor->iSerialNumber = serialString;
    descriptor->bNumConfigurations = 1;
    return 0;
}

FEEDLINE_EXPORTED int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    auto made = std::make_unique<libusb_device_handle>();
    made->opened = device;
    if (const auto instead = bus.enter(lock, *made, "open"))
        return *instead;
    if (device->device->heldElsewhere == LIBUSB_ERROR_ACCESS)
        return LIBUSB_ERROR_ACCESS;
    ++device->device->opened;
    *handle = device->context->handles.emplace_back(std::move(made)).get();
    return 0;
}

FEEDLINE_EXPORTED void libusb_close(libusb_device_handle* handle) {
    if (handle == nullptr)
        return;
    const Lock lock(processBus().mutex);
    Device& device = deviceOf(handle);
    if (device.holder == handle)
        device.holder = nullptr;
    --device.opened;
    std::erase_if(handle->opened->context->handles,
                  [&](const auto& open) { return open.get() == handle; });
}

FEEDLINE_EXPORTED int libusb_get_string_descriptor_ascii(libusb_device_handle* handle,
                                                         std::uint8_t index, unsigned char* data,
                                                         int length) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    if (const auto instead = bus.enter(lock, *handle, "string"))
        return *instead;
    const std::string* text = stringOf(deviceOf(handle).receiver->identity(), index);
    if (text == nullptr || length < 1)
        return LIBUSB_ERROR_INVALID_PARAM;
    const std::size_t count = std::min(text->size(), static_cast<std::size_t>(length) - 1);
    std::memcpy(data, text->data(), count);
    data[count] = 0;
    return static_cast<int>(count);
}

/// Refused, as the kernel does, while somebody has the interface.
FEEDLINE_EXPORTED int libusb_set_configuration(libusb_device_handle* handle, int configuration) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    if (const auto instead = bus.enter(lock, *handle, "configuration"))
        return *instead;
    if (const auto taken = takenElsewhere(deviceOf(handle), handle))
        return *taken;
    return configuration == 1 ? 0 : LIBUSB_ERROR_NOT_FOUND;
}

FEEDLINE_EXPORTED int libusb_claim_interface(libusb_device_handle* handle, int number) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    if (const auto instead = bus.enter(lock, *handle, "claim"))
        return *instead;
    if (number != 0)
        return LIBUSB_ERROR_NOT_FOUND;
    if (const auto taken = takenElsewhere(deviceOf(handle), handle))
        return *taken;
    deviceOf(handle).holder = handle;
    return 0;
}

FEEDLINE_EXPORTED int libusb_release_interface(libusb_device_handle* handle, int) {
    const Lock lock(processBus().mutex);
    Device& device = deviceOf(handle);
    if (device.gone(*handle))
        return LIBUSB_ERROR_NO_DEVICE;
    if (device.holder != handle)
        return LIBUSB_ERROR_NOT_FOUND;
    device.holder = nullptr;
    return 0;
}

FEEDLINE_EXPORTED int libusb_set_interface_alt_setting(libusb_device_handle* handle, int number,
                                                       int setting) {
    Bus& bus = processBus();
    Lock lock(bus.mutex);
    if (const auto instead = bus.enter(lock, *handle, "alternate"))
        return *instead;
    const Device& device = deviceOf(handle);
    const bool known =
        number == 0 && setting >= 0 && setting < device.receiver->identity().alternateSettings;
    return known && device.holder == handle ? 0 : LIBUSB_ERROR_NOT_FOUND;
}

FEEDLINE_EXPORTED int libusb_kernel_driver_active(libusb_device_handle*, int) {
    return 0;
}

FEEDLINE_EXPORTED int libusb_detach_kernel_driver(libusb_device_handle*, int) {
    return LIBUSB_ERROR_NOT_FOUND;
}
