// What a client's waterfall would show.
#pragma once

#include "WireClient.h"

namespace feedline::test {

struct Peak {
    double hertz;      ///< from the centre, negative below it
    double aboveFloor; ///< decibels over the median of all bins
};

/// The strongest line of a spectrum over all the samples, whose number must be even; at best a
/// power of two. Windowed so that a carrier's skirts stay 90 dB below it.
Peak strongestLine(const Samples& samples, double rate);

/// The level at an offset, in decibels over the median: the strongest of the bins within 30 Hz.
double levelAt(const Samples& samples, double rate, double hertz);

} // namespace feedline::test
