// SPDX-License-Identifier: MIT
// Cuts one channel out of the shared transform: a slice of its bins, times the filter, transformed
// back at the channel's own rate, and turned the last few hertz.
//
// The pass band is flat over 80 % of the channel's width (70 % below 16,000), what lies outside is
// 120 dB down at the channel's edge; below 10,600, where a filter of 5 ms is wider than the edge,
// the slice is twice as wide as the channel and is folded, so that aliases reach the outer 10 % on
// each side at 8,000 and less above it.
//
// The oscillator's phase is reckoned in whole numbers, in units of one received pair's part of a
// turn at 1 Hz: it neither drifts nor jumps, and a change of frequency continues it.
#pragma once

#include "tools/hub/band/ChannelFilter.h"
#include "tools/hub/band/Spectrum.h"
#include "tools/hub/band/Transform.h"

#include <complex>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace feedline::hub {

/// For one thread.
class Cutter {
public:
    /// 20 ms of the channel: rate / 50 pairs, of full scale +-1.0. They lag 2.5 ms behind the
    /// spectrum's new pairs, which is the filter's delay. Valid until the next call.
    /// @param frequency  Hz, in the received band or near it
    /// @param rate       pairs a second, a multiple of 200
    std::span<const std::complex<float>> cut(const Spectrum& spectrum, std::uint32_t frequency,
                                             std::uint32_t rate);

private:
    struct Settings {
        std::uint32_t received = 0; ///< rate
        std::uint32_t rate = 0;
        std::int64_t offset = 0; ///< Hz from the received centre to the channel's
        bool operator==(const Settings&) const = default;
    };

    void set(const Settings& settings);
    FilterShape shape(std::uint32_t sliceRate) const;
    void advancePhase(const Spectrum& spectrum, std::int64_t offset);
    void slice(const Spectrum& spectrum);
    void addStretch(const Spectrum& spectrum, std::int64_t begin, std::int64_t end);
    void turn();

    Settings settings_;
    std::size_t bins_ = 0; ///< of the channel: rate / 40
    std::size_t wide_ = 0; ///< of the slice: as many, or twice
    std::int64_t bin_ = 0; ///< of the band, at the slice's centre
    FilterShape shape_;
    std::vector<std::complex<float>> factors_; ///< of the slice
    std::vector<std::complex<float>> folded_;  ///< bins_
    std::vector<std::complex<float>> output_;  ///< bins_, of which the last four fifths count
    std::vector<std::complex<float>> turns_;   ///< the last few hertz over one hop; empty for none
    std::optional<Transform> inverse_;
    std::optional<Position> last_; ///< position of the spectrum before
    std::int64_t phase_ = 0;       ///< at the transform's first pair, in 1 / received rate turns
};

} // namespace feedline::hub
