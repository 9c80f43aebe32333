// SPDX-License-Identifier: MIT
#include "tools/hub/web/view/BandView.h"

#include <kiss_fft.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace feedline::hub::web {

namespace {

constexpr std::size_t fewestBins = 1024;
constexpr std::size_t mostBins = 262144;

// Blackman-Harris, four terms, scaled so that a carrier of full amplitude comes out as 1.
std::vector<float> makeWindow(std::size_t size) {
    std::vector<float> window(size);
    const double scale = 0.35875 * static_cast<double>(size);
    for (std::size_t at = 0; at < size; ++at) {
        const double x = 2 * std::numbers::pi * static_cast<double>(at) / static_cast<double>(size);
        window[at] = static_cast<float>((0.35875 - 0.48829 * std::cos(x) +
                                         0.14128 * std::cos(2 * x) - 0.01168 * std::cos(3 * x)) /
                                        scale);
    }
    return window;
}

// How much more noise than one bin's width the window lets into a bin.
double noiseBandwidthOf(const std::vector<float>& window) {
    double squares = 0;
    for (const float value : window)
        squares += static_cast<double>(value) * value;
    return squares * static_cast<double>(window.size());
}

} // namespace

void BandView::Free::operator()(kiss_fft_state* plan) const {
    kiss_fft_free(plan);
}

BandView::BandView(int rate)
    : rate_(rate), period_(static_cast<std::size_t>(rate / rowsPerSecond)),
      frame_(std::clamp(std::bit_floor(period_), fewestBins, mostBins)), result_(frame_.size()),
      window_(makeWindow(frame_.size())), noiseBandwidth_(noiseBandwidthOf(window_)),
      plan_(kiss_fft_alloc(static_cast<int>(frame_.size()), 0, nullptr, nullptr)) {
    period_ = std::max(period_, frame_.size());
}

std::shared_ptr<const LevelRow> BandView::add(std::span<const std::complex<float>> pairs,
                                              double centre) {
    std::shared_ptr<const LevelRow> row;
    while (!pairs.empty()) {
        const std::size_t taken = std::min(pairs.size(), period_ - filled_);
        // The frame is the end of the period.
        const std::size_t skipped = period_ - frame_.size();
        for (std::size_t at = std::max(filled_, skipped); at < filled_ + taken; ++at)
            frame_[at - skipped] = window_[at - skipped] * pairs[at - filled_];
        filled_ += taken;
        pairs = pairs.subspan(taken);
        if (filled_ == period_) {
            row = transform(centre);
            filled_ = 0;
        }
    }
    return row;
}

std::shared_ptr<const LevelRow> BandView::transform(double centre) {
    static_assert(sizeof(kiss_fft_cpx) == sizeof(std::complex<float>));
    kiss_fft(plan_.get(), reinterpret_cast<const kiss_fft_cpx*>(frame_.data()),
             reinterpret_cast<kiss_fft_cpx*>(result_.data()));
    const std::size_t size = result_.size();
    std::vector<std::uint8_t> levels(size);
    std::vector<float> powers(size);
    const auto share = static_cast<float>(1 / noiseBandwidth_);
    // The transform begins with the centre frequency; a row begins with its lower edge.
    for (std::size_t bin = 0; bin < size; ++bin) {
        const float power = std::norm(result_[(bin + size / 2) % size]);
        levels[bin] = levelOf(10 * std::log10(static_cast<double>(power) + 1e-20));
        powers[bin] = power * share;
    }
    const double width = rate_ / static_cast<double>(size);
    // A bin is centred on its frequency, so the band begins half a bin below the first.
    return std::make_shared<const LevelRow>(
        View{centre - static_cast<double>(rate_) / 2 - width / 2, static_cast<double>(rate_)},
        std::move(levels), std::move(powers));
}

} // namespace feedline::hub::web
