// SPDX-License-Identifier: MIT
// Signals to put into demodulators, and what to look for in what comes out.
#pragma once

#include "Spectrum.h"

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <span>
#include <vector>

namespace feedline::test {

using Pairs = std::vector<std::complex<float>>;

inline std::complex<float> turn(double cycles, double amplitude = 1) {
    return std::complex<float>(
        std::polar(amplitude, 2 * std::numbers::pi * std::fmod(cycles, 1.0)));
}

inline double amplitudeOf(double dBFS) {
    return std::pow(10, dBFS / 20);
}

inline Pairs carrier(double offset, double dBFS, double rate, double seconds) {
    Pairs pairs(static_cast<std::size_t>(rate * seconds));
    for (std::size_t at = 0; at < pairs.size(); ++at)
        pairs[at] = turn(offset * static_cast<double>(at) / rate, amplitudeOf(dBFS));
    return pairs;
}

/// A carrier in the middle with two sidebands.
inline Pairs amStation(double tone, double depth, double dBFS, double rate, double seconds) {
    Pairs pairs = carrier(0, dBFS, rate, seconds);
    for (std::size_t at = 0; at < pairs.size(); ++at)
        pairs[at] *=
            1 + static_cast<float>(depth) * turn(tone * static_cast<double>(at) / rate).real();
    return pairs;
}

inline Pairs fmStation(double tone, double deviation, double dBFS, double rate, double seconds) {
    Pairs pairs(static_cast<std::size_t>(rate * seconds));
    for (std::size_t at = 0; at < pairs.size(); ++at) {
        const double angle = 2 * std::numbers::pi * tone * static_cast<double>(at) / rate;
        const double cycles = deviation / tone * std::sin(angle) / (2 * std::numbers::pi);
        pairs[at] = turn(cycles, amplitudeOf(dBFS));
    }
    return pairs;
}

inline Pairs operator+(Pairs a, const Pairs& b) {
    for (std::size_t at = 0; at < a.size(); ++at)
        a[at] += b[at];
    return a;
}

/// dB of a tone, 0 being a sine of amplitude 1; the first half is left out, where things settle.
inline double toneLevel(std::span<const float> sound, double frequency, double rate) {
    const auto half = sound.subspan(sound.size() / 2);
    return levelAt(Samples(half.begin(), half.end()), frequency, rate) + 20 * std::log10(2.0);
}

inline double toneLevel(std::span<const std::complex<float>> pairs, double frequency, double rate) {
    const auto half = pairs.subspan(pairs.size() / 2);
    return levelAt(Samples(half.begin(), half.end()), frequency, rate);
}

} // namespace feedline::test
