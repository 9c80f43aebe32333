// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/SpectrumEstimator.h"

#include "tools/probe/analysis/LevelMeter.h"

#include <kiss_fft.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

namespace feedline::probe {

namespace {

// Blackman-Harris, four terms.
std::vector<float> makeWindow(std::size_t size) {
    std::vector<float> window(size);
    for (std::size_t at = 0; at < size; ++at) {
        const double x = 2 * std::numbers::pi * static_cast<double>(at) / static_cast<double>(size);
        window[at] = static_cast<float>(0.35875 - 0.48829 * std::cos(x) +
                                        0.14128 * std::cos(2 * x) - 0.01168 * std::cos(3 * x));
    }
    // Scaled so that a carrier of full amplitude comes out as 1.
    const double gain = std::accumulate(window.begin(), window.end(), 0.0) * fullScale;
    for (float& value : window)
        value = static_cast<float>(value / gain);
    return window;
}

} // namespace

void PowerSum::add(const PowerSum& other) {
    if (other.frames == 0)
        return;
    power.resize(other.power.size());
    std::transform(power.begin(), power.end(), other.power.begin(), power.begin(), std::plus<>());
    frames += other.frames;
}

Spectrum PowerSum::average() const {
    Spectrum spectrum(power.size());
    std::transform(power.begin(), power.end(), spectrum.begin(), [this](double sum) {
        return static_cast<float>(10 * std::log10(sum / static_cast<double>(frames) + 1e-30));
    });
    return spectrum;
}

std::optional<Carrier> strongestCarrier(const Spectrum& spectrum, double sampleRate) {
    const auto peak = std::max_element(spectrum.begin(), spectrum.end());
    if (peak == spectrum.end() || *peak < -200)
        return std::nullopt;
    const std::size_t size = spectrum.size();
    const auto bin = static_cast<std::size_t>(peak - spectrum.begin());
    // The window's main lobe in dB is close to a parabola through the peak and its neighbours; the
    // spectrum is periodic, so the first and the last bin are neighbours too.
    const double left = spectrum[(bin + size - 1) % size];
    const double right = spectrum[(bin + 1) % size];
    const double bend = left - 2 * static_cast<double>(*peak) + right;
    const double shift = bend < 0 ? std::clamp(0.5 * (left - right) / bend, -0.5, 0.5) : 0;
    const double centre = static_cast<double>(size) / 2;
    return Carrier{(static_cast<double>(bin) + shift - centre) * sampleRate /
                       static_cast<double>(size),
                   *peak - 0.25 * (left - right) * shift};
}

struct SpectrumEstimator::Plan {
    kiss_fft_cfg config = kiss_fft_alloc(static_cast<int>(size), 0, nullptr, nullptr);
    Plan() = default;
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
    ~Plan() { kiss_fft_free(config); }
};

SpectrumEstimator::SpectrumEstimator()
    : plan_(std::make_unique<Plan>()), window_(makeWindow(size)), frame_(size), bins_(size) {}

SpectrumEstimator::~SpectrumEstimator() = default;

void SpectrumEstimator::add(std::span<const std::int16_t> entries, std::int64_t position) {
    if (position != next_)
        filled_ = 0;
    next_ = position + static_cast<std::int64_t>(entries.size() / 2);
    for (std::size_t at = 0; at + 1 < entries.size(); at += 2) {
        frame_[filled_] = window_[filled_] * std::complex<float>(entries[at], entries[at + 1]);
        if (++filled_ == size) {
            transform();
            filled_ = 0;
        }
    }
}

void SpectrumEstimator::transform() {
    static_assert(sizeof(kiss_fft_cpx) == sizeof(std::complex<float>));
    kiss_fft(plan_->config, reinterpret_cast<const kiss_fft_cpx*>(frame_.data()),
             reinterpret_cast<kiss_fft_cpx*>(bins_.data()));
    sum_.power.resize(size);
    // The transform begins with the centre frequency; a spectrum begins with its lower edge.
    for (std::size_t bin = 0; bin < size; ++bin)
        sum_.power[(bin + size / 2) % size] += static_cast<double>(std::norm(bins_[bin]));
    ++sum_.frames;
}

PowerSum SpectrumEstimator::take() {
    return std::exchange(sum_, {});
}

} // namespace feedline::probe
