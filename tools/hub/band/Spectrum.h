// SPDX-License-Identifier: MIT
// The transform of 25 ms of the received band, which all cut channels share.
#pragma once

#include "tools/hub/band/Block.h"

#include <complex>
#include <vector>

namespace feedline::hub {

/// The forward transform of `rate` / 40 pairs: the last 5 ms of the 25 before, and 20 ms of new
/// ones. Bin k, counted from 0, is at `frequency` + 40 Hz * k, and at the received rate less in the
/// upper half. Not scaled: a carrier of amplitude 1.0 stands in its bin with rate / 40.
struct Spectrum {
    Position position = 0;       ///< of the first of the 20 ms of new pairs
    std::uint64_t lost = 0;      ///< received pairs missing just before those
    std::uint64_t zeros = 0;     ///< of the new pairs, those that are zeros for lost ones
    bool fresh = false;          ///< begins anew: the 5 ms before are zeros
    std::uint32_t frequency = 0; ///< centre frequency, Hz
    std::uint32_t rate = 0;      ///< IQ pairs a second
    Clock::time_point arrival;   ///< when the last pair came in from the network
    std::vector<std::complex<float>> bins;
};
using SpectrumPointer = std::shared_ptr<const Spectrum>;

} // namespace feedline::hub
