// SPDX-License-Identifier: MIT
// What a client's waterfall would show: where the strongest line is, and how strong a carrier.
#pragma once

#include <complex>
#include <vector>

namespace feedline::test {

using Samples = std::vector<std::complex<float>>; ///< full scale is 1

struct Peak {
    double hertz;      ///< from the centre, negative below it
    double aboveFloor; ///< decibels over the median of all bins
};

/// The strongest line of a spectrum over all the samples, whose number must be even; at best a
/// power of two. Windowed so that a carrier's skirts stay 90 dB below it.
Peak strongestLine(const Samples& samples, double rate);

/// The level at a frequency in decibels, 0 being an amplitude of 1: one point of a spectrum whose
/// window leaves nothing of a carrier some bins away.
double levelAt(const Samples& samples, double hertz, double rate);

/// The largest difference, in radians, of a tone's phase in one datagram's worth of samples from
/// what it would be if it had run on evenly from those before. One pair too many or too few shows.
double worstPhaseStep(const Samples& samples, double hertz, double rate);

} // namespace feedline::test
