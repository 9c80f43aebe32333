// SPDX-License-Identifier: MIT
// The spectrum over time, however long that is.
#pragma once

#include "tools/probe/analysis/SpectrumEstimator.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace feedline::probe {

/// A limited number of rows, all of the same length. When the stream outgrows them, neighbours are
/// put together and the rows become twice as long. Not synchronised.
class WaterfallHistory {
public:
    static constexpr std::size_t mostRows = 1024;

    /// @param pair  place in the stream that the power belongs to, in pairs, from 0 on
    void add(std::int64_t pair, const PowerSum& power);

    /// Whether both places belong to the same row as it is now.
    bool sameRow(std::int64_t pair, std::int64_t other) const {
        return pair / pairsPerRow_ == other / pairsPerRow_;
    }

    /// Oldest first. Rows of which nothing was received have no frames.
    const std::vector<PowerSum>& rows() const { return rows_; }
    std::int64_t pairsPerRow() const { return pairsPerRow_; }

private:
    void halve();

    std::int64_t pairsPerRow_ = 2 * static_cast<std::int64_t>(SpectrumEstimator::size);
    std::vector<PowerSum> rows_;
};

} // namespace feedline::probe
