#include "probe/LevelMeter.h"

#include <cmath>

namespace feedline::probe {

void LevelMeter::add(std::span<const std::int16_t> entries) {
    for (std::size_t at = 0; at < entries.size(); ++at) {
        const int value = entries[at];
        Sums& channel = m_channels[at % 2];
        channel.sum += value;
        channel.squares += static_cast<std::uint64_t>(value * value);
        channel.clipped += (value >= 32767 || value <= -32767) ? 1 : 0;
    }
    m_pairs += entries.size() / 2;
}

void LevelMeter::add(const LevelMeter& other) {
    for (std::size_t channel = 0; channel < 2; ++channel) {
        m_channels[channel].sum += other.m_channels[channel].sum;
        m_channels[channel].squares += other.m_channels[channel].squares;
        m_channels[channel].clipped += other.m_channels[channel].clipped;
    }
    m_pairs += other.m_pairs;
}

Levels LevelMeter::levels() const {
    Levels result;
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const Sums& sums = m_channels[channel];
        const double count = m_pairs == 0 ? 1 : static_cast<double>(m_pairs);
        const double meanSquare = static_cast<double>(sums.squares) / count / fullScale / fullScale;
        // A sine of full amplitude has a mean square of one half.
        result[channel] = {10 * std::log10(2 * meanSquare),
                           static_cast<double>(sums.sum) / count / fullScale, sums.clipped};
    }
    return result;
}

} // namespace feedline::probe
