// SPDX-License-Identifier: MIT
// Run-time control of the emulated receivers: faults, pulling out, silence, and their state. The
// program under test has been started with FEEDLINE_EMULATOR_CONTROL set to the path given here.
#pragma once

#include "Loopback.h"

#include <functional>
#include <string>

namespace feedline::test {

/// One thread at a time. Every failure (no emulator, a refused command, a value that does not come
/// in time) is a std::runtime_error that says which command it was.
class EmulatorControl {
public:
    /// Connects as soon as the program has made its socket.
    explicit EmulatorControl(std::string socketPath);

    /// Sends one command; the reply without its "ok".
    std::string tell(const std::string& command);

    /// One value of a device's state ("frequency", "receiver-mode", "delivered" ...).
    std::string value(const std::string& device, const std::string& name);
    long long number(const std::string& device, const std::string& name);

    /// How often a request has arrived since the last forget.
    long long calls(const std::string& device, unsigned code);

    /// Waits until the condition holds.
    static void until(const std::function<bool()>& condition, const std::string& what);

private:
    bool tryToConnect();
    std::string readLine(const std::string& command) const;

    std::string path_;
    OwnedDescriptor socket_;
};

} // namespace feedline::test
