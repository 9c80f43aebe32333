// SPDX-License-Identifier: MIT
#include "tools/hub/native/Dialogue.h"

#include "protocol/ControlMessage.h"

#include <algorithm>

namespace feedline::hub {
namespace {

using Bytes = Dialogue::Bytes;
using Parameters = std::span<const std::uint8_t>;

constexpr std::uint8_t stateRun = 2;  ///< in the receiver state's second parameter
constexpr std::uint8_t stateIdle = 1; ///< the same
constexpr std::uint8_t statusIdle = 11;
constexpr std::uint8_t statusRunning = 12;
constexpr std::size_t stateParameters = 4;
constexpr std::size_t frequencyParameters = 6;
constexpr std::size_t rateParameters = 5;

Bytes nak() {
    return {control::headerSize, TYPE_TARG_RESP_CITEM};
}

Bytes reply(std::uint16_t item, Parameters parameters) {
    constexpr std::size_t front = control::headerSize + control::itemSize;
    Bytes message(front + parameters.size());
    message[0] = static_cast<std::uint8_t>(message.size());
    message[1] = TYPE_TARG_RESP_CITEM;
    message[2] = static_cast<std::uint8_t>(item & 0xFFU);
    message[3] = static_cast<std::uint8_t>(item >> 8U);
    std::copy(parameters.begin(), parameters.end(), message.begin() + front);
    return message;
}

Bytes replyText(std::uint16_t item, const std::string& text) {
    constexpr std::size_t longest = 100; // A name that came from elsewhere must fit one message.
    if (text.empty())
        return nak();
    Bytes parameters(text.begin(),
                     text.begin() + static_cast<std::ptrdiff_t>(std::min(text.size(), longest)));
    parameters.push_back(0);
    return reply(item, parameters);
}

/// A leading byte, then 32 bits, low byte first.
Bytes afterLeadingByte(std::uint8_t leading, std::uint32_t value) {
    Bytes bytes{leading};
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<std::uint8_t>((value >> shift) & 0xFFU));
    return bytes;
}

std::uint32_t valueAfterLeadingByte(Parameters parameters) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(parameters[1 + i]) << 8U * i;
    return value;
}

} // namespace

Bytes Dialogue::answer(std::span<const std::uint8_t> message) {
    const std::uint8_t type = message[1] & control::typeMask;
    constexpr std::size_t front = control::headerSize + control::itemSize;
    if (message.size() < front)
        return type == TYPE_TARG_RESP_CITEM ? Bytes{} : nak();
    const auto item = static_cast<std::uint16_t>(message[2] | message[3] << 8U);
    if (type == TYPE_REQUEST_CITEM)
        return answerRequest(item);
    if (type == TYPE_TARG_RESP_CITEM)
        return set(item, message.subspan(front));
    return nak();
}

Bytes Dialogue::answerRequest(std::uint16_t item) const {
    switch (item) {
    case itemTargetName:
        return replyText(item, subject_.targetName());
    case itemSerialNumber:
        return replyText(item, subject_.serialNumber());
    case itemNumber0004:
        return reply(item, std::array<std::uint8_t, 2>{123, 0});
    case itemReceiverStatus:
        return reply(item,
                     std::array<std::uint8_t, 1>{subject_.running() ? statusRunning : statusIdle});
    case itemReceiverState:
        return reply(item, state());
    case itemReceiverFrequency: {
        Bytes parameters = afterLeadingByte(0, subject_.frequency());
        parameters.push_back(0);
        return reply(item, parameters);
    }
    case itemSampleRate:
        return reply(item, afterLeadingByte(0, subject_.rate())); // 0 while nobody knows it.
    default:
        return nak();
    }
}

Bytes Dialogue::set(std::uint16_t item, Parameters parameters) {
    if (item == itemReceiverState && parameters.size() >= stateParameters)
        return setState(parameters.first(stateParameters));
    if (item == itemReceiverFrequency && parameters.size() >= frequencyParameters)
        return setFrequency(parameters.first(frequencyParameters));
    if (item == itemSampleRate && parameters.size() >= rateParameters)
        return setRate(parameters.first(rateParameters));
    return nak();
}

Bytes Dialogue::setState(Parameters parameters) {
    if (!subject_.run(parameters[1] == stateRun))
        return nak();
    std::copy(parameters.begin(), parameters.end(), lastState_.begin());
    return reply(itemReceiverState, parameters);
}

/// The last parameter counts for nothing, and comes back as 0, as a server has it.
Bytes Dialogue::setFrequency(Parameters parameters) {
    subject_.tune(valueAfterLeadingByte(parameters));
    Bytes echoed(parameters.begin(), parameters.end());
    echoed.back() = 0;
    return reply(itemReceiverFrequency, echoed);
}

Bytes Dialogue::setRate(Parameters parameters) {
    const std::uint32_t inForce = subject_.setRate(valueAfterLeadingByte(parameters));
    return reply(itemSampleRate, afterLeadingByte(parameters[0], inForce));
}

/// As last set, with what became of it.
std::array<std::uint8_t, 4> Dialogue::state() const {
    auto parameters = lastState_;
    parameters[1] = subject_.running() ? stateRun : stateIdle;
    return parameters;
}

} // namespace feedline::hub
