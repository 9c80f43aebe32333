// SPDX-License-Identifier: MIT
// For builds that speak to no bus: there are no gains to steer.
#include "tools/gains/AirspyGains.h"

namespace feedline::gains {

class AirspyGains::Body {};

AirspyGains::AirspyGains(const std::string& /*host*/, std::uint16_t /*port*/,
                         std::function<void()> /*changed*/) {}
AirspyGains::~AirspyGains() = default;

bool AirspyGains::settle(std::chrono::milliseconds /*limit*/) const {
    return true;
}

std::optional<Values> AirspyGains::values() const {
    return std::nullopt;
}

bool AirspyGains::set(std::size_t /*place*/, std::int32_t /*value*/) {
    return false;
}

} // namespace feedline::gains
