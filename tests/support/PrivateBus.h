// SPDX-License-Identifier: MIT
// A message bus of a test's own, which it can take away and bring back.
#pragma once

#include "TemporaryFolder.h"

#include <string>
#include <sys/types.h>

namespace feedline::test {

/// A dbus-daemon that lets everybody do everything. Ends with the object.
class PrivateBus {
public:
    enum class Begin { running, absent };

    explicit PrivateBus(Begin begin = Begin::running);
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// The same for the life of the object, whether or not there is a bus.
    std::string address() const { return "unix:path=" + folder_.file("bus"); }

    void start(); ///< returns when it takes connections
    void stop();  ///< all connections end
    pid_t pid() const { return pid_; }

private:
    TemporaryFolder folder_;
    pid_t pid_ = -1;
};

} // namespace feedline::test
