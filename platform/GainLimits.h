// SPDX-License-Identifier: MIT
// The highest setting of each AirSpy gain control; the lowest is 0. They are the receiver's own
// limits: its library takes more as the highest.
#pragma once

#include <cstdint>

namespace feedline {

constexpr std::int32_t highestLnaGain = 14;
constexpr std::int32_t highestMixerGain = 15;
constexpr std::int32_t highestVgaGain = 15;
constexpr std::int32_t highestPreset = 21; ///< linearity and sensitivity

} // namespace feedline
