// SPDX-License-Identifier: MIT
// What is on the air: signals at absolute frequencies, and noise.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace feedline::emulator {

/// One station. Levels are in dB below a carrier that fills the receiver's range at its nominal
/// gain.
struct Signal {
    enum class Kind { carrier, am, cw, fm };

    Kind kind = Kind::carrier;
    double frequency = 0;    ///< Hz
    double level = 0;        ///< dBFS of the unmodulated carrier
    double tone = 0;         ///< Hz of the modulating tone; 0: the built-in melody
    double depth = 50;       ///< per cent, AM
    double speed = 18;       ///< words per minute, CW
    std::string text;        ///< CW, repeated for ever
    double deviation = 75e3; ///< Hz, FM
    bool stereo = false;     ///< FM: pilot at 19 kHz and the difference at 38 kHz
    bool radioData = false;  ///< FM: data carrier at 57 kHz
};

struct Scene {
    std::vector<Signal> signals;
    double noise = -129; ///< dBFS per Hz
};

/// The text of the scene that is on the air when nobody asks for another.
std::string_view defaultSceneText();

/// Reads a scene (docs/emulator.md has the format). Throws std::runtime_error whose text begins
/// with "line <n>: ".
Scene parseScene(std::string_view text);

} // namespace feedline::emulator
