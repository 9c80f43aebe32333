// SPDX-License-Identifier: MIT
// The binary messages that the hub sends to a page (docs/web.md draws their bytes). All numbers are
// little-endian.
#pragma once

#include "tools/hub/web/view/LevelRow.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace feedline::hub::web {

using Frame = std::vector<std::uint8_t>;

enum class FrameType : std::uint8_t { sound = 1, row = 2 };
enum class Codec : std::uint8_t { silence = 0, adpcm = 1, opus = 2 };

struct SoundHeader {
    Codec codec = Codec::silence;
    std::uint16_t sequence = 0; ///< of the sound frames made for this page, sent or not
    double level = 0;           ///< dBFS of the pass-band
    double age = 0;             ///< s since the newest sample in it came to the hub
    int rate = 0;               ///< samples a second, a multiple of 100
    std::size_t samples = 0;    ///< that the payload holds

    /// type, codec, sequence, level, age, rate, samples
    static constexpr std::size_t bytes = 1 + 1 + 2 + 2 + 2 + 2 + 2;
};

/// Both headers have the age at the same place, so that it can be brought up to date.
/// @param seconds  added to it
void addAge(Frame& frame, double seconds);

/// A frame without its payload, which the caller appends.
Frame beginSound(const SoundHeader& header);

struct RowHeader {
    std::uint16_t sequence = 0; ///< of the rows made for this page, sent or not
    double level = 0;           ///< dBFS of the pass-band
    double age = 0;             ///< s since the newest sample in it came to the hub
    View view;                  ///< what the points show

    /// type, reserved, sequence, level, age, low, span
    static constexpr std::size_t bytes = 1 + 1 + 2 + 2 + 2 + 8 + 8;
};

/// The header and rowPoints levels.
Frame makeRow(const RowHeader& header, const LevelRow& row);

} // namespace feedline::hub::web
