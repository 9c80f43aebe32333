// SPDX-License-Identifier: MIT
#include "devices/RateLists.h"

#include "platform/Log.h"

#include <algorithm>
#include <forward_list>
#include <vector>

namespace feedline {

std::uint32_t* newRateList(std::uint32_t count) {
    // Receivers are initialised on the main thread only, once at launch and once a restart.
    // Reachable to the end, and never destroyed: threads may outlive main().
    static auto& kept = *new std::forward_list<std::vector<std::uint32_t>>;
    return kept.emplace_front(std::max<std::uint32_t>(count, 1)).data();
}

void logRates(const std::uint32_t* rates, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i)
        logLine("rate %d  %d", static_cast<int>(i), static_cast<int>(rates[i]));
}

} // namespace feedline
