// SPDX-License-Identifier: MIT
// Messages of the control protocol as bytes, written from the wire format and not by the server's
// own code.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>

namespace feedline::test {

Bytes askName();
Bytes askSerial();
Bytes askItem4();
Bytes askStatus();

constexpr std::uint8_t stopState = 1;
constexpr std::uint8_t runState = 2;
/// @param state  1 stops, 2 runs; the answer to it is the same
Bytes setState(std::uint8_t state);

/// The answer to it is the same.
Bytes setFrequency(std::uint32_t hertz);

/// The answer to it is the same.
Bytes setSampleRate(std::uint32_t hertz);

Bytes nameAnswer(const std::string& name);
Bytes serialAnswer();
Bytes item4Answer();

constexpr std::uint8_t idle = 11;
constexpr std::uint8_t running = 12;
Bytes statusAnswer(std::uint8_t status);

/// Brings the server's framing back to the start of a message, wherever it was. What it takes for
/// messages on the way may be answered.
Bytes resynchronise();

} // namespace feedline::test
