// SPDX-License-Identifier: MIT
#include "tools/hub/web/view/LevelRow.h"

#include <algorithm>
#include <cmath>

namespace feedline::hub::web {

std::uint8_t levelOf(double dBFS) {
    return static_cast<std::uint8_t>(std::clamp((dBFS - levelFloor) / levelStep, 0.0, 255.0));
}

LevelRow::LevelRow(View band, std::vector<std::uint8_t> levels, std::vector<float> powers)
    : band_(band), powers_(std::move(powers)) {
    octaves_.push_back(std::move(levels));
    while (octaves_.back().size() >= 2 * rowPoints) {
        const std::vector<std::uint8_t>& finer = octaves_.back();
        std::vector<std::uint8_t> coarser(finer.size() / 2);
        for (std::size_t at = 0; at < coarser.size(); ++at)
            coarser[at] = std::max(finer[2 * at], finer[2 * at + 1]);
        octaves_.push_back(std::move(coarser));
    }
}

// Places are in bins of the octave. A bin counts for a point when its middle lies in it, and a
// point narrower than a bin takes the one it lies in.
std::uint8_t LevelRow::highest(std::size_t octave, double from, double to) const {
    const std::vector<std::uint8_t>& levels = octaves_[octave];
    const auto size = static_cast<std::ptrdiff_t>(levels.size());
    if (to <= 0 || from >= static_cast<double>(size))
        return 0;
    auto first = static_cast<std::ptrdiff_t>(std::ceil(from - 0.5));
    auto last = static_cast<std::ptrdiff_t>(std::ceil(to - 0.5));
    if (first >= last) {
        first = static_cast<std::ptrdiff_t>(std::floor((from + to) / 2));
        last = first + 1;
    }
    first = std::clamp<std::ptrdiff_t>(first, 0, size - 1);
    last = std::clamp<std::ptrdiff_t>(last, first + 1, size);
    return *std::max_element(levels.begin() + first, levels.begin() + last);
}

void LevelRow::cut(const View& view, std::span<std::uint8_t, rowPoints> points) const {
    const double binsPerPoint =
        view.span / band_.span * static_cast<double>(octaves_[0].size()) / rowPoints;
    std::size_t octave = 0;
    while (octave + 1 < octaves_.size() && binsPerPoint >= static_cast<double>(4U << octave))
        ++octave;
    const double bin = band_.span / static_cast<double>(octaves_[octave].size()); // Hz
    const double from = (view.low - band_.low) / bin;
    const double step = view.span / rowPoints / bin;
    for (std::size_t point = 0; point < rowPoints; ++point)
        points[point] = highest(octave, from + static_cast<double>(point) * step,
                                from + static_cast<double>(point + 1) * step);
}

double LevelRow::levelBetween(double low, double high) const {
    const auto size = static_cast<double>(powers_.size());
    const double bin = band_.span / size;
    const auto first = static_cast<std::size_t>(std::clamp((low - band_.low) / bin, 0.0, size));
    const auto last = static_cast<std::size_t>(std::clamp((high - band_.low) / bin, 0.0, size));
    double power = 0;
    for (std::size_t at = first; at < last; ++at)
        power += static_cast<double>(powers_[at]);
    return 10 * std::log10(power + 1e-20);
}

} // namespace feedline::hub::web
