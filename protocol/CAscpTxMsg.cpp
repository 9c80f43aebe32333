// SPDX-License-Identifier: MIT
#include "protocol/CAscpTxMsg.h"

#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <unistd.h>

namespace feedline {

void CAscpTxMsg::init([[maybe_unused]] std::int32_t unused) {
    Buf8[0] = 0;
}

void CAscpTxMsg::InitTxMsg(std::uint8_t type) {
    Buf8[1] = type;
    Buf8[0] = control::headerSize;
}

void CAscpTxMsg::AddCItem(std::uint16_t item) {
    Buf8[2] = static_cast<std::uint8_t>(item & 0xFFU);
    Buf8[3] = static_cast<std::uint8_t>(item >> 8U);
    Buf8[0] += control::itemSize;
}

void CAscpTxMsg::AddParm8(std::uint8_t value) {
    Buf8[Buf8[0]] = value;
    ++Buf8[0];
}

void CAscpTxMsg::AddParm16(std::uint16_t value) {
    AddParm8(static_cast<std::uint8_t>(value & 0xFFU));
    AddParm8(static_cast<std::uint8_t>(value >> 8U));
}

void CAscpTxMsg::AddParm32(std::uint32_t value) {
    AddParm16(static_cast<std::uint16_t>(value & 0xFFFFU));
    AddParm16(static_cast<std::uint16_t>(value >> 16U));
}

void CAscpTxMsg::SetTxMsgLength(std::uint16_t length) {
    Buf8[0] = static_cast<std::uint8_t>(length & 0xFFU);
}

std::uint16_t CAscpTxMsg::GetLength() const {
    return Buf8[0];
}

void CAscpTxMsg::SendAscpMsg([[maybe_unused]] std::int32_t socket) const {
    if (GetLength() > longestSendable)
        fatal("control message of %d bytes: more than %zu cannot be sent", GetLength(),
              longestSendable);
    [[maybe_unused]] const ssize_t written = ::write(clientSocket, Buf8.data(), GetLength());
}

} // namespace feedline
