// SPDX-License-Identifier: MIT
// A control message under construction, and its way to the client.
//
// TCP thread only. Calling order: InitTxMsg, AddCItem, any number of AddParm..., SendAscpMsg.
#pragma once

#include "protocol/ControlMessage.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace feedline {

class CAscpTxMsg {
public:
    /// A longer message is never sent. The server's own are at most 14 bytes long, so one that is
    /// longer is damaged, and the process ends before a client sees it.
    static constexpr std::size_t longestSendable = 85;

    /// Makes a used message start from an empty header again; the argument has no meaning.
    void init(std::int32_t unused);

    /// Starts a message of the type (a MessageType): header only.
    void InitTxMsg(std::uint8_t type);

    /// Writes the item code behind the header, wherever the cursor is: it comes straight after
    /// InitTxMsg.
    void AddCItem(std::uint16_t item);

    // Each appends one parameter, low byte first. The cursor is one byte wide and wraps at 256.
    void AddParm8(std::uint8_t value);
    void AddParm16(std::uint16_t value);
    void AddParm32(std::uint32_t value);

    /// Moves the cursor to the low 8 bits of `length`.
    void SetTxMsgLength(std::uint16_t length);

    std::uint16_t GetLength() const; ///< bytes so far, header included

    /// Writes the message with one `write`, whose result is not looked at. It goes to
    /// `clientSocket` as it is at this moment, not to `socket`: a reply to a client that has been
    /// replaced has no other reader.
    void SendAscpMsg(std::int32_t socket) const;

    /// The message. Byte 0 is cursor and header length in one, so the header is always up to date.
    std::array<std::uint8_t, control::largestMessage> Buf8{};
};

} // namespace feedline
