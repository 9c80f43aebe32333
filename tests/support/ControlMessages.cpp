// SPDX-License-Identifier: MIT
#include "ControlMessages.h"

namespace feedline::test {
namespace {

Bytes ask(std::uint8_t item) {
    return {0x04, 0x20, item, 0x00};
}

Bytes answer(std::uint8_t item, const Bytes& parameters) {
    Bytes message{static_cast<std::uint8_t>(4 + parameters.size()), 0x00, item, 0x00};
    message.insert(message.end(), parameters.begin(), parameters.end());
    return message;
}

/// A set of an item that begins with a channel number, 0.
Bytes setNumber(std::uint8_t item, std::uint32_t value) {
    Bytes parameters{0x00};
    for (unsigned shift = 0; shift < 32; shift += 8)
        parameters.push_back(static_cast<std::uint8_t>(value >> shift));
    return answer(item, parameters);
}

Bytes textWithZero(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

} // namespace

Bytes askName() {
    return ask(0x01);
}
Bytes askSerial() {
    return ask(0x02);
}
Bytes askItem4() {
    return ask(0x04);
}
Bytes askStatus() {
    return ask(0x05);
}

Bytes setState(std::uint8_t state) {
    return answer(0x18, {0x80, state, 0x00, 0x00});
}

Bytes setFrequency(std::uint32_t hertz) {
    Bytes message = setNumber(0x20, hertz);
    message.push_back(0); // The frequency has 40 bits on the wire.
    message[0] = static_cast<std::uint8_t>(message.size());
    return message;
}

Bytes setSampleRate(std::uint32_t hertz) {
    return setNumber(0xB8, hertz);
}

Bytes nameAnswer(const std::string& name) {
    return answer(0x01, textWithZero(name));
}
Bytes serialAnswer() {
    return answer(0x02, textWithZero("123456789"));
}
Bytes item4Answer() {
    return answer(0x04, {123, 0});
}
Bytes statusAnswer(std::uint8_t status) {
    return answer(0x05, {status});
}

Bytes resynchronise() {
    // Enough to fill the largest message; then every pair is a message of its own, and the framing
    // stands before its first byte or its second. From either, the last three end a message.
    Bytes bytes(8197, 0x02);
    bytes[8194] = 0x01;
    return bytes;
}

} // namespace feedline::test
