// Measuring a carrier among samples, for the tests beside this file.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace feedline::test {

using Samples = std::vector<std::complex<double>>;

/// The level at a frequency in dB, 0 being an amplitude of 1: one point of a spectrum whose window
/// leaves nothing of a carrier some bins away.
inline double levelAt(const Samples& samples, double frequency, double rate) {
    constexpr double turn = 2 * std::numbers::pi;
    const auto size = static_cast<double>(samples.size());
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double x = static_cast<double>(i) / size;
        const double window = 0.35875 - 0.48829 * std::cos(turn * x) +
                              0.14128 * std::cos(2 * turn * x) - 0.01168 * std::cos(3 * turn * x);
        sum += samples[i] * window *
               std::polar(1.0, -turn * std::fmod(frequency / rate * static_cast<double>(i), 1.0));
    }
    return 20 * std::log10(std::abs(sum) / (0.35875 * size) + 1e-12);
}

} // namespace feedline::test
