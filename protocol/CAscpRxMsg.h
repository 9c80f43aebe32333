// SPDX-License-Identifier: MIT
// A control message as received, with a cursor over its parameters.
//
// TCP thread only. No accessor checks anything: one that reads beyond the received length gives
// what the reused buffer still holds from earlier messages. The cursor cannot leave the buffer,
// since no caller reads more than six parameter bytes.
#pragma once

#include "protocol/ControlMessage.h"

#include <array>
#include <cstdint>

namespace feedline {

class CAscpRxMsg {
public:
    /// Makes a used message start from an empty header again; the argument has no meaning.
    void init(std::int32_t unused);

    /// Puts the cursor on the first parameter byte.
    void InitRxMsg();

    std::uint8_t GetType() const;    ///< a MessageType, or any other value of the three type bits
    std::uint16_t GetLength() const; ///< the header's first byte alone
    std::uint16_t GetCItem() const;  ///< the control item code; the cursor stays

    // Each reads one parameter, low byte first, and moves the cursor past it.
    std::uint8_t GetParm8();
    std::uint16_t GetParm16();
    std::uint32_t GetParm32();

    std::array<std::uint8_t, control::largestMessage> Buf8{}; ///< the message from its header on
    std::int16_t tmp16 = 0;                                   ///< where GetParm16 assembles
    std::int32_t tmp32 = 0;                                   ///< where GetParm32 assembles
    std::int16_t Length = 0; ///< not a length: the cursor, index of the next parameter byte
};

} // namespace feedline
