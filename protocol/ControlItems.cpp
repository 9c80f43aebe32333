// SPDX-License-Identifier: MIT
// What the server understands, and what it answers. Failures are never told to the client: a
// setting is echoed whether or not the receiver took it, and what is not understood is not
// answered.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"
#include "protocol/CAscpRxMsg.h"
#include "protocol/CAscpTxMsg.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace feedline {
namespace {

/// In the receiver state's second parameter; any other value stops.
constexpr std::uint8_t stateRun = 2;
constexpr std::uint8_t statusIdle = 11;
constexpr std::uint8_t statusRunning = 12;
constexpr std::string_view serialNumber = "123456789"; ///< the same for every receiver
constexpr std::uint16_t valueOfItem0004 = 123;

CAscpTxMsg replyTo(std::uint16_t item) {
    CAscpTxMsg reply;
    reply.InitTxMsg(TYPE_TARG_RESP_CITEM);
    reply.AddCItem(item);
    return reply;
}

void addText(CAscpTxMsg& reply, std::string_view text) {
    for (const char c : text)
        reply.AddParm8(static_cast<std::uint8_t>(c));
    reply.AddParm8(0);
}

/// The next N parameters of a message, one byte each.
template <std::size_t N>
std::array<std::uint8_t, N> takeParameters(CAscpRxMsg& message) {
    std::array<std::uint8_t, N> parameters{};
    for (std::uint8_t& parameter : parameters)
        parameter = message.GetParm8();
    return parameters;
}

void echo(std::uint16_t item, std::span<const std::uint8_t> parameters) {
    CAscpTxMsg reply = replyTo(item);
    for (const std::uint8_t parameter : parameters)
        reply.AddParm8(parameter);
    reply.SendAscpMsg(clientSocket);
}

/// The 32-bit value that follows a leading byte.
std::uint32_t valueAfterLeadingByte(std::span<const std::uint8_t> parameters) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(parameters[1 + i]) << 8U * i;
    return value;
}

/// Requests carry no parameters that matter. The codes between the known ones are left unanswered.
void answerRequest(std::uint16_t item) {
    CAscpTxMsg reply = replyTo(item);
    switch (item) {
    case itemTargetName:
        addText(reply, deviceType == deviceAirspyHf ? "AirSpyHF+" : "AirSpy");
        break;
    case itemSerialNumber:
        addText(reply, serialNumber);
        break;
    case itemNumber0004:
        reply.AddParm16(valueOfItem0004);
        break;
    case itemReceiverStatus:
        reply.AddParm8(isStreaming != 0 ? statusRunning : statusIdle);
        break;
    default:
        return;
    }
    reply.SendAscpMsg(clientSocket);
}

/// The rate is only logged and echoed: the receiver keeps the one it was opened with.
void setSampleRate(CAscpRxMsg& message) {
    const auto q = takeParameters<5>(message);
    logLine("set rate %u   %u %u %u %u %u", valueAfterLeadingByte(q), q[0], q[1], q[2], q[3], q[4]);
    echo(itemSampleRate, q);
}

} // namespace

void AppDelegate::ParseAscpMsg(CAscpRxMsg& message) {
    if (message.Buf8[0] == control::headerSize && message.Buf8[1] == TYPE_TARG_RESP_CITEM) {
        logLine("NAK");
        return;
    }
    message.InitRxMsg();
    if (message.GetType() == TYPE_REQUEST_CITEM)
        answerRequest(message.GetCItem());
    else if (message.GetType() == TYPE_TARG_RESP_CITEM)
        setItem(message);
}

void AppDelegate::setItem(CAscpRxMsg& message) {
    const std::uint16_t item = message.GetCItem();
    logLine("TYPE_TARG_RESP_CITEM ParseAscpMsg %x %d %x", message.GetType(), message.GetLength(),
            item);
    switch (item) {
    case itemReceiverState:
        setReceiverState(message);
        break;
    case itemReceiverFrequency:
        setReceiverFrequency(message);
        break;
    case itemSampleRate:
        setSampleRate(message);
        break;
    default:
        break;
    }
}

void AppDelegate::setReceiverState(CAscpRxMsg& message) {
    const auto p = takeParameters<4>(message);
    logLine("set state %u   %u   %u", p[0], p[1], p[2]);
    const bool run = p[1] == stateRun;
    const bool streaming = isStreaming != 0;
    if (run && !streaming)
        startDevice();
    else if (!run && streaming)
        stopDevice();
    echo(itemReceiverState, p);
}

void AppDelegate::setReceiverFrequency(CAscpRxMsg& message) {
    auto b = takeParameters<6>(message);
    b[5] = 0; // The sixth byte is read to be thrown away: log and echo carry 0 in its place.
    const std::uint32_t frequency = valueAfterLeadingByte(b);
    logLine("set frequency %u   %u %u %u %u %u %u", frequency, b[0], b[1], b[2], b[3], b[4], b[5]);
    if (setDeviceFrequency(static_cast<std::int32_t>(frequency)) != deviceReady) {
        // Two readings on purpose: the pop-up may change the type while the first alert is up.
        if (deviceType == deviceAirspyHf)
            displayAnAlert("AirSpyHF+ set frequency fail", "");
        if (deviceType == deviceAirspy)
            displayAnAlert("AirSpy set frequency fail", "");
    }
    echo(itemReceiverFrequency, b);
}

} // namespace feedline
