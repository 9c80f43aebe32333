// SPDX-License-Identifier: MIT
// What every operation on a receiver returns: 0 or a negative code, as a signed 32-bit value.
#pragma once

#include <cstdint>

namespace feedline {

/// The codes of device operations. Those from -1 to -5 end an initialisation; the alert that
/// devices/DeviceDispatch.cpp shows for an HF+ follows from the code alone.
enum DeviceResult : std::int32_t {
    deviceReady = 0,
    deviceNotFound = -1,      ///< no receiver of the kind is attached
    deviceNotOpened = -2,     ///< one is attached and could not be opened
    rateCountNotRead = -3,    ///< the receiver did not say how many sample rates it has
    rateListNotRead = -4,     ///< it said how many, and did not say which
    deviceNotConfigured = -5, ///< HF+: sample rate refused; AirSpy: antenna supply not switched off
    startFailed = -100,
    stopFailed = -101,
    tuningFailed = -102, ///< also where there is no receiver to tune
};

} // namespace feedline
