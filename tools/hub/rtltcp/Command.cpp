// SPDX-License-Identifier: MIT
#include "tools/hub/rtltcp/Command.h"

namespace feedline::hub::rtltcp {
namespace {

void putBigEndian(std::uint8_t* to, std::uint32_t value) {
    for (int at = 3; at >= 0; --at, value >>= 8U)
        to[at] = static_cast<std::uint8_t>(value & 0xFFU);
}

std::uint32_t bigEndian(const std::uint8_t* from) {
    std::uint32_t value = 0;
    for (int at = 0; at < 4; ++at)
        value = value << 8U | from[at];
    return value;
}

} // namespace

std::array<std::uint8_t, greetingSize> greeting() {
    std::array<std::uint8_t, greetingSize> bytes{'R', 'T', 'L', '0'};
    putBigEndian(bytes.data() + 4, tunerType);
    putBigEndian(bytes.data() + 8, gains.size());
    return bytes;
}

void CommandReader::add(std::span<const std::uint8_t> bytes,
                        const std::function<void(Command)>& take) {
    for (const std::uint8_t byte : bytes) {
        collected_.at(count_++) = byte;
        if (count_ < commandSize)
            continue;
        count_ = 0;
        take({collected_[0], bigEndian(collected_.data() + 1)});
    }
}

} // namespace feedline::hub::rtltcp
