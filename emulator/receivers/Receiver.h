// SPDX-License-Identifier: MIT
// What the two receivers have in common: the answers of a device on the USB, without the USB.
#pragma once

#include "emulator/receivers/Feed.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace feedline::emulator {

struct Identity {
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::string manufacturer;
    std::string name;
    std::string serial;
    std::uint8_t alternateSettings = 1;
};

struct Request {
    bool in = false;
    std::uint8_t code = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint8_t* data = nullptr;
    std::uint16_t length = 0;
};

/// A stall: what a device answers to a request that it does not know or cannot take.
inline constexpr int stalled = -9;

/// Names and values for whoever watches the emulator.
using State = std::vector<std::pair<std::string, std::string>>;

/// The request to stream or to stop, which has the same code in every receiver.
inline constexpr std::uint8_t receiverMode = 1;

/// Calls come one at a time.
class Receiver {
public:
    /// `number` counts the receivers of a kind from 0, and their serials from `firstSerial`; the
    /// identity comes with what its serial string begins with.
    Receiver(unsigned number, std::uint64_t firstSerial, Identity identity);
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    virtual ~Receiver() = default;

    const Identity& identity() const { return self_; }
    /// Answers a vendor request: bytes taken or given, or `stalled`.
    virtual int answer(const Request& request);
    /// Whether samples flow (receiver mode).
    bool streaming() const { return streaming_; }
    virtual StreamSettings settings() const = 0;
    virtual State state() const = 0;
    /// As after losing its power: settings gone, what is in flash memory kept.
    virtual void powerUp() { streaming_ = false; }

protected:
    unsigned number() const { return number_; }
    std::uint64_t serial() const { return serial_; }

private:
    /// Requests that bring something, and those that ask for something.
    virtual int take(const Request& request) = 0;
    virtual int tell(const Request& request) = 0;

    unsigned number_;
    std::uint64_t serial_;
    Identity self_;
    bool streaming_ = false;
};

// What requests carry, little endian. `give` copies what fits and says how much that was.
int give(const Request& request, const void* data, std::size_t length);
int give(const Request& request, std::string_view text);
int giveWords(const Request& request, const std::vector<std::uint32_t>& words);
std::uint32_t littleEndian(const std::uint8_t* bytes);
std::uint32_t bigEndian(const std::uint8_t* bytes);

/// How a state shows a switch.
std::string yes(bool value);

/// The answer to the two forms of the sample-rate query: a count, or a list.
int giveRates(const Request& request, const std::vector<std::uint32_t>& rates);

} // namespace feedline::emulator
