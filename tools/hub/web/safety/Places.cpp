// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/Places.h"

namespace feedline::hub::web {

Places::Places(std::size_t all, std::size_t perAddress) : all_(all), perAddress_(perAddress) {}

std::shared_ptr<void> Places::take(const std::string& address) {
    const std::lock_guard lock(counts_->mutex);
    const auto taken = counts_->byAddress.find(address);
    if (counts_->all >= all_ || (taken != counts_->byAddress.end() && taken->second >= perAddress_))
        return nullptr;
    ++counts_->all;
    ++counts_->byAddress[address];
    const auto giveBack = [counts = counts_, address](void*) {
        const std::lock_guard backLock(counts->mutex);
        --counts->all;
        if (--counts->byAddress[address] == 0)
            counts->byAddress.erase(address);
    };
    return {this, giveBack};
}

} // namespace feedline::hub::web
