// SPDX-License-Identifier: MIT
// What stations modulate their carriers with: loops of sound, keying and FM multiplex. Made once,
// then constant; any thread may read.
#pragma once

#include "emulator/signals/Scene.h"

#include <cstdint>
#include <vector>

namespace feedline::emulator {

/// A loop of values at its own rate. The first value stands once more at the end, so that
/// interpolation needs no wrap.
template <typename Value>
struct Loop {
    std::vector<Value> values;
    double rate = 0; ///< Hz

    double length() const { return static_cast<double>(values.size() - 1); }
};

/// The amplitude of an AM or CW station, 1 being its carrier.
Loop<float> envelopeOf(const Signal& signal);

/// The phase of an FM station against its carrier, 2^32 being one turn. It ends where it begins.
Loop<std::uint32_t> phaseOf(const Signal& signal);

} // namespace feedline::emulator
