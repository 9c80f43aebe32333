// SPDX-License-Identifier: MIT
// Axes and colours that every picture of a spectrum shares.
#pragma once

#include "tools/probe/analysis/SpectrumEstimator.h"

#include <array>
#include <cstdint>
#include <vector>

namespace feedline::probe {

struct Range {
    double low;
    double high;
    /// 0 at the lower end, 1 at the upper, limited to these.
    double part(double value) const;
};

/// The level range that shows a spectrum well: whole tens of dBFS, from below the noise to above
/// the strongest carrier.
Range levelRange(const Spectrum& spectrum);

/// Whether a range found earlier still shows the spectrum well, so that a live view can keep it.
bool stillFits(Range range, const Spectrum& spectrum);

/// Round values (1, 2 or 5 times a power of ten apart) within the range, about `wanted` of them.
std::vector<double> ticks(Range range, int wanted);

/// Decimals that the ticks need to differ.
int decimals(const std::vector<double>& values);

/// Red, green and blue, 0 to 255, for a level's part of the range: from dark blue over green to
/// yellow and white, rising evenly in brightness so that it reads in grey as well.
std::array<std::uint8_t, 3> colour(double part);

} // namespace feedline::probe
