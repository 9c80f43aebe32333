// SPDX-License-Identifier: MIT
// A tone's amplitude in some samples, and what is left of them without it.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <span>

namespace feedline::test {

inline double decibels(double level) {
    return 20 * std::log10(std::max(level, 1e-20));
}

/// exp(j * 2 pi * hertz * n / rate), exact for any n.
inline std::complex<double> turned(std::int64_t hertz, std::int64_t n, std::int64_t rate) {
    const auto part = static_cast<double>((hertz % rate) * (n % rate) % rate);
    return std::polar(1.0, 2 * std::numbers::pi * part / static_cast<double>(rate));
}

struct ToneFit {
    std::complex<double> amplitude; ///< of the tone over all samples: phase at the first one
    double worst = 0;               ///< the greatest difference between a sample and the tone
};

/// Lays one tone through all samples: any jump of its phase, and anything else there is, shows in
/// `worst`.
inline ToneFit fitTone(std::span<const std::complex<float>> samples, std::int64_t hertz,
                       std::int64_t rate) {
    ToneFit fit;
    for (std::size_t n = 0; n < samples.size(); ++n)
        fit.amplitude += std::complex<double>(samples[n]) *
                         std::conj(turned(hertz, static_cast<std::int64_t>(n), rate));
    fit.amplitude /= static_cast<double>(samples.size());
    for (std::size_t n = 0; n < samples.size(); ++n)
        fit.worst = std::max(
            fit.worst, std::abs(std::complex<double>(samples[n]) -
                                fit.amplitude * turned(hertz, static_cast<std::int64_t>(n), rate)));
    return fit;
}

/// The greatest amplitude.
inline double peak(std::span<const std::complex<float>> samples) {
    double greatest = 0;
    for (const std::complex<float> sample : samples)
        greatest = std::max(greatest, static_cast<double>(std::abs(sample)));
    return greatest;
}

} // namespace feedline::test
