// SPDX-License-Identifier: MIT
// The seven gain controls: their words on the command line and their properties on the bus.
#pragma once

#include "platform/GainLimits.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace feedline::ctl {

struct Gain {
    const char* word; ///< on the command line
    const char* property;
    const char* label;    ///< for people
    std::int32_t highest; ///< 0: a switch
    bool preset;

    bool isSwitch() const { return highest == 0; }
};

constexpr std::array<Gain, 7> gains{
    {{"lna-agc", "LnaAgc", "LNA AGC", 0, false},
     {"mixer-agc", "MixerAgc", "Mixer AGC", 0, false},
     {"lna", "LnaGain", "LNA", highestLnaGain, false},
     {"mixer", "MixerGain", "Mixer", highestMixerGain, false},
     {"vga", "VgaGain", "VGA", highestVgaGain, false},
     {"linearity", "Linearity", "Linearity", highestPreset, true},
     {"sensitivity", "Sensitivity", "Sensitivity", highestPreset, true}}};

} // namespace feedline::ctl
