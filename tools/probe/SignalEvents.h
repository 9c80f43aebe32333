// SPDX-License-Identifier: MIT
// SIGINT, SIGTERM and SIGHUP as something to wait for.
#pragma once

#include "tools/client/UniqueFd.h"

#include <csignal>

namespace feedline::probe {

/// While an object lives, the signals are blocked in the thread that made it and in those that
/// it starts, and arrive at the descriptor instead.
class SignalEvents {
public:
    SignalEvents();
    ~SignalEvents();
    SignalEvents(const SignalEvents&) = delete;
    SignalEvents& operator=(const SignalEvents&) = delete;

    /// For poll(): readable when a signal has come.
    int fd() const { return fd_.get(); }

private:
    sigset_t before_{};
    client::UniqueFd fd_;
};

} // namespace feedline::probe
