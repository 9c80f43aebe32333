// SPDX-License-Identifier: MIT
#include "tools/hub/band/Cutter.h"

#include "tools/hub/band/Complex.h"
#include "tools/hub/band/Rates.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace feedline::hub {

namespace {

constexpr std::int64_t binWidth = transformsPerSecond; // Hz

constexpr std::uint32_t foldedBelow = 10600; // Hz; above it the filter ends within the channel

std::int64_t nearestBin(std::int64_t hertz) {
    return (hertz + (hertz < 0 ? -binWidth / 2 : binWidth / 2)) / binWidth;
}

// The remainder from 0 to modulus - 1.
std::int64_t wrapped(std::int64_t value, std::int64_t modulus) {
    const std::int64_t rest = value % modulus;
    return rest < 0 ? rest + modulus : rest;
}

} // namespace

std::span<const std::complex<float>> Cutter::cut(const Spectrum& spectrum, std::uint32_t frequency,
                                                 std::uint32_t rate) {
    const Settings wanted{spectrum.rate, rate,
                          std::int64_t{frequency} - std::int64_t{spectrum.frequency}};
    advancePhase(spectrum, wanted.offset);
    if (wanted != settings_)
        set(wanted);
    slice(spectrum);
    inverse_->run(folded_, output_);
    turn();
    return std::span<const std::complex<float>>(output_).subspan(bins_ / 5);
}

// Where two hops meet, the oscillator goes on, whatever its frequency was and will be.
void Cutter::advancePhase(const Spectrum& spectrum, std::int64_t offset) {
    const std::int64_t turn = spectrum.rate;
    if (!last_ || spectrum.fresh || turn != settings_.received) {
        phase_ = 0;
    } else {
        const std::int64_t overlap = turn / rateStep; // 5 ms
        const std::int64_t passed = wrapped(spectrum.position - *last_ + overlap, turn);
        phase_ = wrapped(phase_ + wrapped(settings_.offset, turn) * passed % turn -
                             wrapped(offset, turn) * overlap % turn,
                         turn);
    }
    last_ = spectrum.position;
}

void Cutter::set(const Settings& settings) {
    const bool otherRate = settings.rate != settings_.rate || !inverse_;
    settings_ = settings;
    bins_ = settings.rate / transformsPerSecond;
    wide_ = settings.rate < foldedBelow ? 2 * bins_ : bins_;
    bin_ = nearestBin(settings.offset);
    if (otherRate) {
        inverse_.emplace(bins_, Transform::Direction::inverse);
        folded_.assign(bins_, {});
        output_.assign(bins_, {});
    }
    const FilterShape wanted = shape(static_cast<std::uint32_t>(wide_ * transformsPerSecond));
    if (otherRate || wanted != shape_) {
        shape_ = wanted;
        factors_ = filterFactors(shape_, static_cast<double>(transformsPerSecond) /
                                             static_cast<double>(settings.received));
    }
    const auto rest = static_cast<double>(settings.offset - bin_ * binWidth);
    turns_.resize(rest == 0 ? 0 : bins_);
    for (std::size_t at = 0; at < turns_.size(); ++at)
        turns_[at] = std::complex<float>(std::polar(
            1.0, -2 * std::numbers::pi * rest * static_cast<double>(at) / settings.rate));
}

// As wide as the channel, but never beyond the band: where that ends, the filter has come to zero,
// so that nothing is cut off abruptly and nothing comes in from the band's other end.
FilterShape Cutter::shape(std::uint32_t sliceRate) const {
    constexpr double half = filterTransition / 2 + static_cast<double>(binWidth) / 2;
    const double edge =
        settings_.rate < foldedBelow ? 0.35 * settings_.rate + half : 0.5 * settings_.rate - half;
    const double band = 0.5 * settings_.received - half;
    const auto centre = static_cast<double>(bin_ * binWidth);
    return {sliceRate, std::max(-edge, -band - centre), std::min(edge, band - centre)};
}

// The slice's bins that the band has, counted from the channel's centre: in stretches within which
// neither the band's bins nor the slice's come round to their beginning.
void Cutter::slice(const Spectrum& spectrum) {
    const auto all = static_cast<std::int64_t>(spectrum.bins.size());
    const auto wide = static_cast<std::int64_t>(wide_);
    std::fill(folded_.begin(), folded_.end(), std::complex<float>{});
    const std::int64_t begin = std::max(-(wide / 2), -(all / 2) - bin_);
    const std::int64_t end = std::max(begin, std::min(wide - wide / 2, all - all / 2 - bin_));
    std::array corners{begin, std::clamp(-bin_, begin, end),
                       std::clamp(std::int64_t{0}, begin, end), end};
    std::sort(corners.begin(), corners.end());
    for (std::size_t at = 0; at + 1 < corners.size(); ++at)
        addStretch(spectrum, corners[at], corners[at + 1]);
}

void Cutter::addStretch(const Spectrum& spectrum, std::int64_t begin, std::int64_t end) {
    const auto all = static_cast<std::int64_t>(spectrum.bins.size());
    const auto channel = static_cast<std::int64_t>(bins_);
    const auto* from = spectrum.bins.data() + wrapped(bin_ + begin, all);
    const auto* factor = factors_.data() + wrapped(begin, static_cast<std::int64_t>(wide_));
    auto* to = folded_.data() + wrapped(begin, channel);
    for (std::int64_t at = begin; at < end; ++at)
        *to++ += product(*from++, *factor++);
}

void Cutter::turn() {
    // The slice is moved before the filter, which delays it by 2.5 ms, a tenth of a bin's period;
    // the last few hertz come after it. Together they are to be one oscillator.
    const double delayed = static_cast<double>(wrapped(bin_, 10)) / 10;
    const double angle =
        -2 * std::numbers::pi * (static_cast<double>(phase_) / settings_.received + delayed);
    const auto start = std::complex<float>(std::polar(1.0, angle));
    if (turns_.empty()) {
        for (std::complex<float>& pair : output_)
            pair = product(pair, start);
        return;
    }
    for (std::size_t at = 0; at < output_.size(); ++at)
        output_[at] = product(output_[at], product(start, turns_[at]));
}

} // namespace feedline::hub
