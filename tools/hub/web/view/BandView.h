// SPDX-License-Identifier: MIT
// Makes the rows that all listeners' waterfalls are cut from.
#pragma once

#include "tools/hub/web/view/LevelRow.h"

#include <complex>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

struct kiss_fft_state;

namespace feedline::hub::web {

/// Ten rows a second of received time. Each is one transform under a window whose side lobes lie
/// 92 dB down, over the last of its tenth of a second. Not synchronised.
class BandView {
public:
    static constexpr int rowsPerSecond = 10;

    /// @param rate  pairs a second of the band
    explicit BandView(int rate);

    /// Bins of a row: the largest power of two that a tenth of a second has pairs for, from 1024 to
    /// 262144.
    std::size_t bins() const { return frame_.size(); }

    /// @param pairs   1 is full scale
    /// @param centre  Hz in the middle of the band
    /// @return the row that `pairs` completes, or null; the latest one when they complete several
    std::shared_ptr<const LevelRow> add(std::span<const std::complex<float>> pairs, double centre);

    /// The row begins anew: what follows does not continue what came.
    void restart() { filled_ = 0; }

private:
    std::shared_ptr<const LevelRow> transform(double centre);

    struct Free {
        void operator()(kiss_fft_state* plan) const;
    };

    int rate_;
    std::size_t period_;     ///< pairs a row
    std::size_t filled_ = 0; ///< pairs of the period that have come
    std::vector<std::complex<float>> frame_;
    std::vector<std::complex<float>> result_;
    std::vector<float> window_;
    double noiseBandwidth_ = 1; ///< bins
    std::unique_ptr<kiss_fft_state, Free> plan_;
};

} // namespace feedline::hub::web
