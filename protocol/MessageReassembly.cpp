// SPDX-License-Identifier: MIT
// From the control connection's byte stream to messages. A message's length is the low byte of its
// header's length field alone. Nothing ever resets the framing: after a wrong length, the
// beginnings of messages are found again only by chance.

#include "app/AppDelegate.h"
#include "protocol/CAscpRxMsg.h"

namespace feedline {

void AppDelegate::myDidReadData(const std::uint8_t* data, std::int32_t length) {
    if (!reassembly_.message)
        reassembly_.message = std::make_shared<CAscpRxMsg>();
    for (std::int32_t i = 0; i < length; ++i)
        if (takeByte(data[i]))
            ParseAscpMsg(*reassembly_.message);
}

bool AppDelegate::takeByte(std::uint8_t byte) {
    using Next = Reassembly::Next;
    Reassembly& r = reassembly_;
    CAscpRxMsg& message = *r.message;
    switch (r.next) {
    case Next::headerByte0:
        message.Buf8[0] = byte;
        r.next = Next::headerByte1;
        return false;
    case Next::headerByte1:
        message.Buf8[1] = byte;
        r.expectedLength = message.GetLength();
        r.byteIndex = control::headerSize;
        if (r.expectedLength == 0)
            r.expectedLength = control::largestMessage;
        r.next = r.expectedLength == control::headerSize ? Next::headerByte0 : Next::rest;
        return r.next == Next::headerByte0;
    default: // The index stays below the expected length, which is at most the buffer's size.
        message.Buf8[static_cast<std::size_t>(r.byteIndex++)] = byte;
        if (r.byteIndex < r.expectedLength)
            return false;
        r.next = Next::headerByte0;
        r.byteIndex = 0;
        return true;
    }
}

} // namespace feedline
