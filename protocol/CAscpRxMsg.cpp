// SPDX-License-Identifier: MIT
#include "protocol/CAscpRxMsg.h"

namespace feedline {

void CAscpRxMsg::init([[maybe_unused]] std::int32_t unused) {
    Buf8[0] = 0;
}

void CAscpRxMsg::InitRxMsg() {
    Length = control::headerSize + control::itemSize;
}

std::uint8_t CAscpRxMsg::GetType() const {
    return Buf8[1] & control::typeMask;
}

std::uint16_t CAscpRxMsg::GetLength() const {
    return Buf8[0];
}

std::uint16_t CAscpRxMsg::GetCItem() const {
    return static_cast<std::uint16_t>(Buf8[2] + 256 * Buf8[3]);
}

std::uint8_t CAscpRxMsg::GetParm8() {
    return Buf8[static_cast<std::uint16_t>(Length++)];
}

std::uint16_t CAscpRxMsg::GetParm16() {
    const unsigned low = GetParm8();
    const unsigned high = GetParm8();
    tmp16 = static_cast<std::int16_t>(low | high << 8U);
    return static_cast<std::uint16_t>(tmp16);
}

std::uint32_t CAscpRxMsg::GetParm32() {
    std::uint32_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
        value |= static_cast<std::uint32_t>(GetParm8()) << shift;
    tmp32 = static_cast<std::int32_t>(value);
    return static_cast<std::uint32_t>(tmp32);
}

} // namespace feedline
