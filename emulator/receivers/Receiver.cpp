// SPDX-License-Identifier: MIT
#include "emulator/receivers/Receiver.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace feedline::emulator {
namespace {

/// In a serial string: 16 hexadecimal digits.
std::string serialText(std::uint64_t serial) {
    char text[17] = {};
    std::snprintf(text, sizeof text, "%016llX", static_cast<unsigned long long>(serial));
    return text;
}

} // namespace

Receiver::Receiver(unsigned number, std::uint64_t firstSerial, Identity identity)
    : number_(number), serial_(firstSerial + number), self_(std::move(identity)) {
    self_.serial += serialText(serial_);
}

int Receiver::answer(const Request& request) {
    if (request.in)
        return tell(request);
    if (request.code != receiverMode)
        return take(request);
    streaming_ = request.value != 0;
    return 0;
}

std::string yes(bool value) {
    return value ? "1" : "0";
}

int give(const Request& request, const void* data, std::size_t length) {
    const std::size_t count = std::min<std::size_t>(length, request.length);
    if (count > 0)
        std::memcpy(request.data, data, count);
    return static_cast<int>(count);
}

int give(const Request& request, std::string_view text) {
    return give(request, text.data(), text.size());
}

int giveWords(const Request& request, const std::vector<std::uint32_t>& words) {
    std::vector<std::uint8_t> bytes;
    for (std::uint32_t word : words)
        for (unsigned shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    return give(request, bytes.data(), bytes.size());
}

std::uint32_t littleEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

std::uint32_t bigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[3]} | std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[0]} << 24;
}

int giveRates(const Request& request, const std::vector<std::uint32_t>& rates) {
    if (request.index == 0)
        return giveWords(request, {static_cast<std::uint32_t>(rates.size())});
    const std::size_t count = std::min<std::size_t>(request.index, rates.size());
    return giveWords(request, {rates.begin(), rates.begin() + static_cast<std::ptrdiff_t>(count)});
}

} // namespace feedline::emulator
