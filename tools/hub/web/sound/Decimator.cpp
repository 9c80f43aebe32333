// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Decimator.h"

#include <cmath>
#include <numbers>
#include <numeric>

namespace feedline::hub::web {

namespace {

// Blackman's window: 74 dB down.
std::vector<float> lowPass(double cutoff, std::size_t taps) {
    std::vector<float> kernel(taps);
    const double half = static_cast<double>(taps - 1) / 2;
    for (std::size_t tap = 0; tap < taps; ++tap) {
        const double at = static_cast<double>(tap) - half;
        const double x = 2 * std::numbers::pi * cutoff * at;
        const double angle = std::numbers::pi * at / (half + 1);
        const double window = 0.42 + 0.5 * std::cos(angle) + 0.08 * std::cos(2 * angle);
        kernel[tap] = static_cast<float>(window * (x == 0 ? 1 : std::sin(x) / x));
    }
    const double gain = std::accumulate(kernel.begin(), kernel.end(), 0.0);
    for (float& value : kernel)
        value = static_cast<float>(value / gain);
    return kernel;
}

// Four sums at a time, which the compiler makes a vector of.
float product(const float* a, const float* b, std::size_t size) {
    float sums[8] = {};
    std::size_t at = 0;
    for (; at + 8 <= size; at += 8)
        for (std::size_t lane = 0; lane < 8; ++lane)
            sums[lane] += a[at + lane] * b[at + lane];
    float sum =
        ((sums[0] + sums[4]) + (sums[1] + sums[5])) + ((sums[2] + sums[6]) + (sums[3] + sums[7]));
    for (; at < size; ++at)
        sum += a[at] * b[at];
    return sum;
}

} // namespace

Decimator::Decimator(std::size_t factor, double cutoff, std::size_t taps)
    : factor_(factor), kernel_(lowPass(cutoff, taps)), history_(taps - factor) {}

void Decimator::add(std::span<const float> in, std::vector<float>& out) {
    history_.insert(history_.end(), in.begin(), in.end());
    std::size_t at = 0;
    for (; at + kernel_.size() <= history_.size(); at += factor_)
        out.push_back(product(history_.data() + at, kernel_.data(), kernel_.size()));
    history_.erase(history_.begin(), history_.begin() + static_cast<std::ptrdiff_t>(at));
}

} // namespace feedline::hub::web
