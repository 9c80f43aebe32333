// SPDX-License-Identifier: MIT
// What a page may say to the hub: one JSON object a message (docs/web.md).
#pragma once

#include "tools/hub/web/sound/Demodulator.h"
#include "tools/hub/web/view/LevelRow.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace feedline::hub::web {

/// Longest message that a page may send; anything longer ends the connection.
constexpr std::size_t longestWish = 2048; // bytes

/// The first message: who is there.
struct HelloWish {
    std::string token; ///< empty without one
};

/// The part of the band that the rows are to show.
struct ViewWish {
    View view;
};

/// Where to listen, and how.
struct ListenWish {
    std::uint32_t frequency = 0; ///< Hz
    Listening listening;         ///< its edges are allowed ones
};

enum class Sound { off, adpcm, opus };

/// In which form the sound is to come.
struct SoundWish {
    Sound sound = Sound::off;
};

/// Rows and sound, or neither.
struct RunWish {
    bool running = false;
};

/// One of the receiver's gains.
struct GainWish {
    std::size_t place = 0; ///< in gains::table
    std::int32_t value = 0;
};

/// Is answered with the same number, so that the page knows how long a message takes.
struct PingWish {
    double at = 0;
};

using Wish = std::variant<HelloWish, ViewWish, ListenWish, SoundWish, RunWish, GainWish, PingWish>;

/// A message that is none: one line says why.
class BadWish : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Numbers out of range are brought into it. Throws BadWish for what is no message at all.
Wish parseWish(std::string_view text);

} // namespace feedline::hub::web
