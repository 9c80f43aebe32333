// SPDX-License-Identifier: MIT
// The emulated USB: the receivers that are plugged in, who uses them, and what goes wrong.
//
// One mutex guards everything in here; a function that takes a Lock is called with it held. The
// samples themselves are made without it, by the thread that handles USB events.
#pragma once

#include "emulator/bus/Config.h"
#include "emulator/bus/Faults.h"
#include "emulator/bus/SampleClock.h"

#include <libusb-1.0/libusb.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace feedline::emulator {

class Device;

/// A transfer on its way.
struct Pending {
    libusb_transfer* transfer = nullptr;
    bool cancelled = false;
    bool scheduled = false;     ///< the fields below hold
    std::uint64_t position = 0; ///< of its first sample
    SampleClock::Instant due;   ///< when its last sample has been taken
};

} // namespace feedline::emulator

// The library's opaque types.

/// One appearance of a receiver: when it comes back after being pulled out it is another one.
struct libusb_device {
    libusb_context* context = nullptr;
    feedline::emulator::Device* device = nullptr;
    unsigned appearance = 0;
};

struct libusb_device_handle {
    libusb_device* opened = nullptr;
    std::deque<feedline::emulator::Pending> queue;
};

struct libusb_context {
    std::mutex handlingEvents;         ///< one thread at a time
    std::deque<libusb_device> devices; ///< all that were ever listed; pointers to them stay good
    std::vector<std::unique_ptr<libusb_device_handle>> handles;
};

namespace feedline::emulator {

using Lock = std::unique_lock<std::mutex>;

class Device {
public:
    Device(std::string deviceName, std::unique_ptr<Content> deviceContent,
           std::unique_ptr<Receiver> deviceReceiver);

    bool gone(const libusb_device_handle& handle) const;
    StreamSettings streamSettings() const { return receiver->settings(); }

    const std::string name; ///< hf, hf2, airspy ...
    const std::unique_ptr<Content> content;
    const std::unique_ptr<Receiver> receiver;
    const std::unique_ptr<Feed> feed;
    std::mutex feeding; ///< guards the samples that `feed` makes, nothing else

    bool plugged = true;
    unsigned appearance = 0;                      ///< rises when it is plugged in again
    const libusb_device_handle* holder = nullptr; ///< the handle that claimed the interface
    unsigned opened = 0;

    Faults faults;
    std::optional<int> heldElsewhere;        ///< LIBUSB_ERROR_BUSY or LIBUSB_ERROR_ACCESS
    bool silent = false;                     ///< the stream stands still without an error
    bool halted = false;                     ///< the endpoint stalls until it is cleared
    unsigned releases = 0;                   ///< rises to let hanging requests go
    std::map<unsigned, unsigned long> calls; ///< by request code

    /// Has the sample clock, and with it what is `queued`, wait for a host that is more than the
    /// patience late for what was due. Without patience the host is on its own.
    void waitForHost(std::deque<Pending>& queued, SampleClock::Instant due,
                     SampleClock::Instant now);

    std::optional<std::chrono::nanoseconds> patience;
    std::chrono::nanoseconds waited{}; ///< by the sample clock, for the host
    std::optional<SampleClock> clock;
    std::uint64_t clockBase = 0;    ///< position at the clock's start
    std::uint64_t nextPosition = 0; ///< of the next sample that is not scheduled
    std::uint64_t delivered = 0;    ///< transfers with samples
    std::uint64_t dropped = 0;      ///< samples that found no transfer
};

class Bus {
public:
    explicit Bus(const Config& config);

    Device* find(const std::string& name);
    void plug(const Lock& lock, Device& device);
    void unplug(const Lock& lock, Device& device);
    void setSpeed(const Lock& lock, double factor);

    /// Lets a call into a device, or not: the result to return instead. May wait (delays, hanging
    /// requests), with the mutex released meanwhile.
    std::optional<int> enter(Lock& lock, const libusb_device_handle& handle,
                             const std::string& point);

    /// Gives every queued transfer of the device a new place on a clock that starts now.
    void restartStream(const Lock& lock, Device& device);
    /// Gives a transfer its place in the stream. A host that comes too late has lost samples.
    void schedule(Device& device, std::deque<Pending>& queued, Pending& pending) const;

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::unique_ptr<Device>> devices;
    libusb_context fallback; ///< for callers that pass no context
    std::vector<libusb_context*> contexts{&fallback};

private:
    void attach(Kind kind, const Config& config);

    double speed_;
};

} // namespace feedline::emulator
