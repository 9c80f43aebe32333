// SPDX-License-Identifier: MIT
#include "tools/probe/output/Scale.h"

#include <algorithm>
#include <cmath>

namespace feedline::probe {

namespace {

struct NoiseAndPeak {
    double noise;
    double peak;
};

// The median is the noise as long as most of the spectrum is empty. Silence counts as -160 dBFS.
NoiseAndPeak noiseAndPeak(Spectrum spectrum) {
    std::sort(spectrum.begin(), spectrum.end());
    const double noise = std::max(spectrum[spectrum.size() / 2], -160.0F);
    return {noise, std::max<double>(spectrum.back(), noise)};
}

} // namespace

double Range::part(double value) const {
    return std::clamp((value - low) / (high - low), 0.0, 1.0);
}

Range levelRange(const Spectrum& spectrum) {
    if (spectrum.empty())
        return {-120, 0};
    const auto [noise, peak] = noiseAndPeak(spectrum);
    const double low = 10 * std::floor((noise - 8) / 10);
    return {low, std::max(10 * std::ceil((peak + 4) / 10), low + 30)};
}

bool stillFits(Range range, const Spectrum& spectrum) {
    if (spectrum.empty())
        return true;
    const auto [noise, peak] = noiseAndPeak(spectrum);
    const bool noiseFits = noise > range.low + 3 && noise < range.low + 25;
    return noiseFits && peak < range.high &&
           (peak > range.high - 25 || range.high - range.low < 31);
}

std::vector<double> ticks(Range range, int wanted) {
    const double raw = (range.high - range.low) / wanted;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    double step = 10 * power;
    for (const double factor : {5, 2, 1})
        if (factor * power >= raw)
            step = factor * power;
    std::vector<double> values;
    for (double at = std::ceil(range.low / step - 1e-9); at * step <= range.high + step * 1e-9;
         ++at)
        values.push_back(at * step);
    return values;
}

int decimals(const std::vector<double>& values) {
    if (values.size() < 2)
        return 0;
    const double step = values[1] - values[0];
    return std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, 6);
}

std::array<std::uint8_t, 3> colour(double part) {
    static constexpr std::array<std::array<double, 3>, 6> stops{{{8, 10, 40},
                                                                 {38, 44, 124},
                                                                 {20, 116, 140},
                                                                 {70, 178, 90},
                                                                 {244, 214, 60},
                                                                 {255, 255, 240}}};
    const double place = std::clamp(part, 0.0, 1.0) * (stops.size() - 1);
    const auto index = std::min(static_cast<std::size_t>(place), stops.size() - 2);
    const double rest = place - static_cast<double>(index);
    std::array<std::uint8_t, 3> result{};
    for (std::size_t at = 0; at < 3; ++at)
        result[at] = static_cast<std::uint8_t>(
            std::lround(stops[index][at] + rest * (stops[index + 1][at] - stops[index][at])));
    return result;
}

} // namespace feedline::probe
