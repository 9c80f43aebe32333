// SPDX-License-Identifier: MIT
// Faults that wait for their moment. Calls come one at a time.
//
// A point is a place where a call enters the emulated USB: "open", "string", "configuration",
// "claim", "alternate", "clear-halt", "submit", "transfer" (each one that completes), or
// "request:<code>".
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace feedline::emulator {

struct Fault {
    enum class Action { fail, delay, hang, shorten };

    std::string point;
    Action action = Action::fail;
    long value = 0;       ///< the result, the milliseconds, or the bytes left
    unsigned long at = 1; ///< which call from now on
    bool always = false;  ///< every call from that one on
};

class Faults {
public:
    void add(const Fault& fault);
    /// Counts one call at the point; the fault that strikes now, if there is one.
    std::optional<Fault> strike(const std::string& point);
    void clear();

private:
    std::vector<Fault> waiting_;
};

} // namespace feedline::emulator
