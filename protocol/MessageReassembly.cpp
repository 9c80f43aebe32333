// From the control connection's byte stream to messages. A message's length is the low byte of its
// header's length field alone; nothing ever resets the framing, so a stream that has lost its step
// finds it again by chance only.

#include "app/AppDelegate.h"
#include "protocol/CAscpRxMsg.h"

namespace feedline {

namespace {
enum FramingState : std::int32_t { expectHeader0, expectHeader1, collect };
} // namespace

void AppDelegate::myDidReadData(const std::uint8_t* data, std::int32_t length) {
    if (!reassembly_.message)
        reassembly_.message = std::make_unique<CAscpRxMsg>();
    for (std::int32_t i = 0; i < length; ++i)
        if (takeByte(data[i]))
            ParseAscpMsg(*reassembly_.message);
}

bool AppDelegate::takeByte(std::uint8_t byte) {
    Reassembly& r = reassembly_;
    switch (r.framingState) {
    case expectHeader0:
        r.message->Buf8[0] = byte;
        r.framingState = expectHeader1;
        return false;
    case expectHeader1:
        r.message->Buf8[1] = byte;
        r.expectedLength = r.message->GetLength();
        r.byteIndex = control::headerSize;
        if (r.expectedLength == 0)
            r.expectedLength = control::largestMessage;
        r.framingState = r.expectedLength == control::headerSize ? expectHeader0 : collect;
        return r.framingState == expectHeader0;
    default:
        r.message->Buf8.at(r.byteIndex++) = byte;
        if (r.byteIndex < r.expectedLength)
            return false;
        r.framingState = expectHeader0;
        r.byteIndex = 0;
        return true;
    }
}

} // namespace feedline
