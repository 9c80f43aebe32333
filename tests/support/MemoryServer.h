// SPDX-License-Identifier: MIT
// The server's core on a platform and with controls in memory: what most unit tests work on.
#pragma once

#include "MemoryControls.h"
#include "MemoryPlatform.h"
#include "app/AppDelegate.h"

namespace feedline::test {

/// The run-time state as it is at process start. No server thread may be running.
void resetRunTimeState();

/// A controller with every outlet filled, over freshly reset state and records. Never destroyed
/// while server threads run: tests that start some use `make`.
struct Server : MemoryControls, MemoryPlatform {
    AppDelegate delegate{platform()};

    Server();

    /// One that outlives the test.
    static Server& make();
};

} // namespace feedline::test
