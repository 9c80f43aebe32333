// SPDX-License-Identifier: MIT
// The one bus of the process that the library is loaded into.
#pragma once

#include "emulator/bus/Bus.h"

namespace feedline::emulator {

/// Made at first use from the environment, never destroyed, because threads may still use it while
/// the process ends. Any thread may call.
Bus& processBus();

} // namespace feedline::emulator
