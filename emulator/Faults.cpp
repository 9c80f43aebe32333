#include "emulator/Faults.h"

namespace feedline::emulator {

void Faults::add(const Fault& fault) {
    waiting.push_back(fault);
}

std::optional<Fault> Faults::strike(const std::string& point) {
    std::optional<Fault> struck;
    for (auto fault = waiting.begin(); fault != waiting.end();) {
        const bool here =
            fault->point == point || (fault->point == "request:*" && point.starts_with("request:"));
        if (!here) {
            ++fault;
        } else if (fault->at > 1) {
            --fault->at;
            ++fault;
        } else if (!struck) {
            struck = *fault;
            fault = fault->always ? fault + 1 : waiting.erase(fault);
        } else {
            ++fault;
        }
    }
    return struck;
}

void Faults::clear() {
    waiting.clear();
}

} // namespace feedline::emulator
