// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/LevelMeter.h"

#include <cmath>

namespace feedline::probe {

void LevelMeter::add(std::span<const std::int16_t> entries) {
    for (std::size_t at = 0; at < entries.size(); ++at) {
        const int value = entries[at];
        Sums& channel = channels_[at % 2];
        channel.sum += value;
        channel.squares += static_cast<std::uint64_t>(value * value);
        channel.clipped += (value >= 32767 || value <= -32767) ? 1 : 0;
    }
    pairs_ += entries.size() / 2;
}

void LevelMeter::add(const LevelMeter& other) {
    for (std::size_t channel = 0; channel < 2; ++channel) {
        channels_[channel].sum += other.channels_[channel].sum;
        channels_[channel].squares += other.channels_[channel].squares;
        channels_[channel].clipped += other.channels_[channel].clipped;
    }
    pairs_ += other.pairs_;
}

Levels LevelMeter::levels() const {
    Levels result;
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const Sums& sums = channels_[channel];
        const double count = pairs_ == 0 ? 1 : static_cast<double>(pairs_);
        const double meanSquare = static_cast<double>(sums.squares) / count / fullScale / fullScale;
        // A sine of full amplitude has a mean square of one half.
        result[channel] = {10 * std::log10(2 * meanSquare),
                           static_cast<double>(sums.sum) / count / fullScale, sums.clipped};
    }
    return result;
}

} // namespace feedline::probe
