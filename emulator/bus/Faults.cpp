// SPDX-License-Identifier: MIT
#include "emulator/bus/Faults.h"

namespace feedline::emulator {

void Faults::add(const Fault& fault) {
    waiting_.push_back(fault);
}

std::optional<Fault> Faults::strike(const std::string& point) {
    std::optional<Fault> struck;
    for (auto fault = waiting_.begin(); fault != waiting_.end();) {
        const bool here =
            fault->point == point || (fault->point == "request:*" && point.starts_with("request:"));
        const bool due = here && fault->at <= 1;
        if (here && !due)
            --fault->at;
        const bool strikes = due && !struck;
        if (strikes)
            struck = *fault;
        fault = strikes && !fault->always ? waiting_.erase(fault) : fault + 1;
    }
    return struck;
}

void Faults::clear() {
    waiting_.clear();
}

} // namespace feedline::emulator
