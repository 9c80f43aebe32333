// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/WaterfallHistory.h"

#include <utility>

namespace feedline::probe {

void WaterfallHistory::add(std::int64_t pair, const PowerSum& power) {
    if (pair < 0 || power.frames == 0)
        return;
    while (pair / pairsPerRow_ >= static_cast<std::int64_t>(mostRows))
        halve();
    const auto row = static_cast<std::size_t>(pair / pairsPerRow_);
    if (rows_.size() <= row)
        rows_.resize(row + 1);
    rows_[row].add(power);
}

void WaterfallHistory::halve() {
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        PowerSum power = std::exchange(rows_[row], {});
        rows_[row / 2].add(power);
    }
    rows_.resize((rows_.size() + 1) / 2);
    pairsPerRow_ *= 2;
}

} // namespace feedline::probe
