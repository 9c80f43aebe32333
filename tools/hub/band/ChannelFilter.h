// SPDX-License-Identifier: MIT
// The filter of a cut channel, as factors for the bins of its slice.
#pragma once

#include <complex>
#include <cstdint>
#include <vector>

namespace feedline::hub {

/// What a channel is cut with. Frequencies in Hz from the channel's centre.
struct FilterShape {
    std::uint32_t rate = 0; ///< of the slice, pairs a second: a multiple of 200
    double low = 0;         ///< where the response is half, below the centre
    double high = 0;        ///< the same above it
    bool operator==(const FilterShape&) const = default;
};

/// Hz from a response of 1 to one of 0 (120 dB down): what a length of 5 ms allows.
constexpr double filterTransition = 1561;

/// One factor for each of the slice's rate / 40 bins, bin 0 at the centre, negative frequencies in
/// the upper half; `gain` is the response in between. The impulse response is 5 ms long, causal,
/// and symmetrical about 2.5 ms.
std::vector<std::complex<float>> filterFactors(const FilterShape& shape, double gain);

} // namespace feedline::hub
