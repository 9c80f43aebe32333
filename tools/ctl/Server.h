// SPDX-License-Identifier: MIT
// The caller's end of the controls on D-Bus.
#pragma once

#include "tools/ctl/Options.h"
#include "tools/ctl/ServerStatus.h"
#include "tools/gains/Bus.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace feedline::ctl {

/// A running server. Every failure is a Failure; nothing waits longer than a few seconds.
class Server {
public:
    /// The server on the bus asked for; on any bus the session's comes first. Goes on trying for
    /// `wait` while there is none.
    static Server find(Bus bus, std::chrono::duration<double> wait);

    ServerStatus status();
    void set(const std::string& property, const std::string& value);
    void set(const std::string& property, std::int32_t value);
    void set(const std::string& property, bool value);
    void restart();

    /// Returns when the server has gone.
    void quit();

    /// From here on `awaitChange` sees every change.
    void watch();

    /// Waits until the server tells of a change, comes or goes; false when nothing of that happened
    /// within `limit`, or a signal came.
    bool awaitChange(std::chrono::milliseconds limit);

    bool onSystemBus() const { return onSystemBus_; }

private:
    Server(gains::Bus bus, bool system);
    std::string owner();

    gains::Bus bus_;
    bool onSystemBus_;
    std::unique_ptr<bool> changed_; ///< noted by the bus library's callback
};

} // namespace feedline::ctl
