#include "probe/WaterfallHistory.h"

#include <utility>

namespace feedline::probe {

void WaterfallHistory::add(std::int64_t pair, const PowerSum& power) {
    if (pair < 0 || power.frames == 0)
        return;
    while (pair / m_pairsPerRow >= static_cast<std::int64_t>(mostRows))
        halve();
    const auto row = static_cast<std::size_t>(pair / m_pairsPerRow);
    if (m_rows.size() <= row)
        m_rows.resize(row + 1);
    m_rows[row].add(power);
}

void WaterfallHistory::halve() {
    for (std::size_t row = 0; row < m_rows.size(); ++row) {
        PowerSum power = std::exchange(m_rows[row], {});
        m_rows[row / 2].add(power);
    }
    m_rows.resize((m_rows.size() + 1) / 2);
    m_pairsPerRow *= 2;
}

} // namespace feedline::probe
