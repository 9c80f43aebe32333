// SPDX-License-Identifier: MIT
// What the shared state says about the server, beyond what the status lines show.
#pragma once

#include <cstdint>
#include <vector>

namespace feedline {

/// A server thread waits for a client or serves one. Main thread.
bool listening();

/// The launch has come to its end: the server listens, has failed to, or was not set up at all.
/// Main thread, after launch.
bool launchIsOver();

/// The launch has set up no server, since the receiver could not be initialised. Main thread.
bool launchFailed();

/// The DeviceType of the open receiver, -1 when there is none. Main thread.
std::int64_t openDevice();

/// The kinds of receiver that this process has opened. A receiver is forgotten rather than closed
/// when the next one is initialised, so none of them can be opened again before the process ends.
/// Main thread.
class HeldDevices {
public:
    /// To be called after everything that initialises a receiver.
    void look();

    /// Each DeviceType at most once, in ascending order.
    const std::vector<std::int64_t>& list() const { return list_; }

private:
    std::vector<std::int64_t> list_;
};

} // namespace feedline
