// SPDX-License-Identifier: MIT
#include "tools/client/Reception.h"

namespace feedline::client {

void Reception::judge(const DatagramBlock& block, std::uint32_t overflowed,
                      std::vector<Verdict>& verdicts) {
    verdicts.clear();
    const std::lock_guard lock(mutex_);
    for (std::size_t at = 0; at < block.size(); ++at) {
        const Verdict verdict = tracker_.add(block.number(at));
        if (verdict.arrival == Arrival::inOrder || verdict.arrival == Arrival::afterGap)
            rate_.add(verdict.position, block.nanoseconds(at));
        verdicts.push_back(verdict);
    }
    malformed_ += block.malformed();
    overflowed_ = overflowed;
    if (firstArrival_ == 0 && block.size() != 0)
        firstArrival_ = block.nanoseconds(0);
}

ReceptionFigures Reception::figures() const {
    const std::lock_guard lock(mutex_);
    return {tracker_.counts(), malformed_,      overflowed_,
            rate_.current(),   rate_.overall(), firstArrival_};
}

} // namespace feedline::client
