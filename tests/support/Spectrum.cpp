// SPDX-License-Identifier: MIT
#include "Spectrum.h"

#include <kissfft/kiss_fft.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace feedline::test {
namespace {

/// Four-term Blackman-Harris.
double window(std::size_t i, std::size_t n) {
    const double x = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n);
    return 0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2 * x) - 0.01168 * std::cos(3 * x);
}

/// Power by bin, from the lowest frequency to the highest; the centre is bin n/2.
std::vector<double> powers(const Samples& samples) {
    const std::size_t n = samples.size();
    std::vector<kiss_fft_cpx> in(n);
    std::vector<kiss_fft_cpx> out(n);
    for (std::size_t i = 0; i < n; ++i) {
        const auto w = static_cast<float>(window(i, n));
        in[i] = {samples[i].real() * w, samples[i].imag() * w};
    }
    const std::unique_ptr<kiss_fft_state, void (*)(void*)> plan(
        kiss_fft_alloc(static_cast<int>(n), 0, nullptr, nullptr),
        [](void* p) { kiss_fft_free(p); });
    kiss_fft(plan.get(), in.data(), out.data());
    std::vector<double> result(n);
    for (std::size_t i = 0; i < n; ++i) {
        const kiss_fft_cpx& bin = out[(i + n / 2) % n];
        result[i] = static_cast<double>(bin.r) * bin.r + static_cast<double>(bin.i) * bin.i;
    }
    return result;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Digital silence has no floor; this is far below that of any 16-bit signal.
double decibels(double power, double floor) {
    return 10 * std::log10(power / std::max(floor, 1e-12));
}

} // namespace

Peak strongestLine(const Samples& samples, double rate) {
    const std::vector<double> spectrum = powers(samples);
    const auto peak = std::max_element(spectrum.begin(), spectrum.end());
    const auto n = static_cast<double>(spectrum.size());
    const auto bin = static_cast<double>(peak - spectrum.begin()) - n / 2;
    return {bin * rate / n, decibels(*peak, median(spectrum))};
}

double levelAt(const Samples& samples, double hertz, double rate) {
    const std::size_t n = samples.size();
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double turns = std::fmod(hertz / rate * static_cast<double>(i), 1.0);
        sum += std::complex<double>(samples[i]) * window(i, n) *
               std::polar(1.0, -2 * std::numbers::pi * turns);
    }
    constexpr double meanOfWindow = 0.35875;
    return 20 * std::log10(std::abs(sum) / (meanOfWindow * static_cast<double>(n)) + 1e-12);
}

double worstPhaseStep(const Samples& samples, double hertz, double rate) {
    constexpr std::size_t piece = 256;
    double worst = 0;
    std::complex<double> before = 0;
    for (std::size_t from = 0; from + piece <= samples.size(); from += piece) {
        std::complex<double> tone = 0;
        for (std::size_t i = from; i < from + piece; ++i) {
            const double turns = std::fmod(hertz / rate * static_cast<double>(i), 1.0);
            tone +=
                std::complex<double>(samples[i]) * std::polar(1.0, -2 * std::numbers::pi * turns);
        }
        if (from > 0)
            worst = std::max(worst, std::abs(std::arg(tone * std::conj(before))));
        before = tone;
    }
    return worst;
}

} // namespace feedline::test
