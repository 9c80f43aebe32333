// SPDX-License-Identifier: MIT
// The rtl_tcp protocol's wire format: a greeting of twelve bytes, then unsigned 8-bit I, Q, I, Q
// from the server, and commands of five bytes from the client. All numbers are big-endian. There
// are no answers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace feedline::hub::rtltcp {

enum class Code : std::uint8_t {
    frequency = 0x01,  ///< Hz
    sampleRate = 0x02, ///< IQ pairs a second
    gainMode = 0x03,   ///< 0 automatic, else manual
    gain = 0x04,       ///< tenths of a decibel, signed
    correction = 0x05, ///< parts per million, signed
    stageGain = 0x06,
    testMode = 0x07, ///< not 0: a counter in place of samples
    digitalAgc = 0x08,
    directSampling = 0x09,
    offsetTuning = 0x0A,
    firstCrystal = 0x0B,
    secondCrystal = 0x0C,
    gainByIndex = 0x0D, ///< into the tuner's list of gains
    biasSupply = 0x0E,
};

struct Command {
    std::uint8_t code = 0; ///< a Code, or one that nobody knows
    std::uint32_t value = 0;
    std::int32_t signedValue() const { return static_cast<std::int32_t>(value); }
};
constexpr std::size_t commandSize = 1 + 4; ///< bytes: code, value

/// Type 5 with 29 gains is what most clients have a table for.
constexpr std::uint32_t tunerType = 5;
/// Tenths of a decibel, as those clients list them.
constexpr std::array<std::int32_t, 29> gains{0,   9,   14,  27,  37,  77,  87,  125, 144, 157,
                                             166, 197, 207, 229, 254, 280, 297, 328, 338, 364,
                                             372, 386, 402, 421, 434, 439, 445, 480, 496};
constexpr std::size_t greetingSize = 4 + 4 + 4; ///< bytes: "RTL0", tuner type, number of gains
std::array<std::uint8_t, greetingSize> greeting();

/// Cuts a client's bytes into commands. For one thread.
class CommandReader {
public:
    void add(std::span<const std::uint8_t> bytes, const std::function<void(Command)>& take);

private:
    std::array<std::uint8_t, commandSize> collected_{};
    std::size_t count_ = 0;
};

} // namespace feedline::hub::rtltcp
