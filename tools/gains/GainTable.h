// SPDX-License-Identifier: MIT
// The seven gain controls of a server: their words for callers and their properties on the bus.
#pragma once

#include "platform/GainLimits.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace feedline::gains {

struct Gain {
    const char* word; ///< on command lines and in messages
    const char* property;
    const char* label;    ///< for people
    std::int32_t highest; ///< 0: a switch
    bool preset;

    constexpr bool isSwitch() const { return highest == 0; }
};

constexpr std::array<Gain, 7> table{
    {{"lna-agc", "LnaAgc", "LNA AGC", 0, false},
     {"mixer-agc", "MixerAgc", "Mixer AGC", 0, false},
     {"lna", "LnaGain", "LNA", highestLnaGain, false},
     {"mixer", "MixerGain", "Mixer", highestMixerGain, false},
     {"vga", "VgaGain", "VGA", highestVgaGain, false},
     {"linearity", "Linearity", "Linearity", highestPreset, true},
     {"sensitivity", "Sensitivity", "Sensitivity", highestPreset, true}}};

/// The place in the table of a word; its size for a word that is none of them.
constexpr std::size_t placeOf(std::string_view word) {
    std::size_t place = 0;
    while (place < table.size() && word != table[place].word)
        ++place;
    return place;
}

} // namespace feedline::gains
