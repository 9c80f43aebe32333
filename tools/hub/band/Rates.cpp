// SPDX-License-Identifier: MIT
#include "tools/hub/band/Rates.h"

#include <algorithm>
#include <cmath>

namespace feedline::hub {

std::uint32_t channelRate(std::uint32_t wanted, std::uint32_t received) {
    if (wanted == received && received != 0)
        return received;
    const std::uint32_t highest = std::max(highestRate, received);
    const std::uint64_t nearest = (std::uint64_t{wanted} + rateStep / 2) / rateStep * rateStep;
    return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(nearest, lowestRate, highest));
}

std::uint32_t receivedRate(double measured) {
    return static_cast<std::uint32_t>(std::lround(measured / rateStep)) * rateStep;
}

} // namespace feedline::hub
