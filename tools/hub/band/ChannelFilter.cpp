// SPDX-License-Identifier: MIT
#include "tools/hub/band/ChannelFilter.h"

#include "tools/hub/band/Rates.h"
#include "tools/hub/band/Transform.h"

#include <cmath>
#include <numbers>

namespace feedline::hub {

namespace {

using std::numbers::pi;

// Kaiser's window for 120 dB.
constexpr double windowShape = 12.26;

// The modified Bessel function of the first kind, order 0. std::cyl_bessel_i is not everywhere.
double bessel(double x) {
    double term = 1;
    double sum = 1;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        term *= x * x / (4.0 * k * k);
        sum += term;
    }
    return sum;
}

// `place` from -1 to 1.
double window(double place) {
    return bessel(windowShape * std::sqrt(std::max(0.0, 1 - place * place))) / bessel(windowShape);
}

// The ideal response to an impulse, `seconds` from its middle.
std::complex<double> ideal(const FilterShape& shape, double seconds) {
    const double half = (shape.high - shape.low) / 2;
    const double middle = (shape.high + shape.low) / 2;
    const double angle = 2 * pi * half * seconds;
    const double level = angle == 0 ? 2 * half : 2 * half * std::sin(angle) / angle;
    return std::polar(level / shape.rate, 0.0) * std::polar(1.0, 2 * pi * middle * seconds);
}

} // namespace

std::vector<std::complex<float>> filterFactors(const FilterShape& shape, double gain) {
    const std::size_t bins = shape.rate / transformsPerSecond;
    const std::size_t last = bins / 5; // 5 ms of 25
    std::vector<std::complex<float>> taps(bins);
    for (std::size_t n = 0; n <= last; ++n) {
        const double fromMiddle = static_cast<double>(n) - static_cast<double>(last) / 2;
        const double place = 2 * fromMiddle / static_cast<double>(last);
        taps[n] = std::complex<float>(gain * window(place) * ideal(shape, fromMiddle / shape.rate));
    }
    std::vector<std::complex<float>> factors(bins);
    Transform(bins, Transform::Direction::forward).run(taps, factors);
    return factors;
}

} // namespace feedline::hub
