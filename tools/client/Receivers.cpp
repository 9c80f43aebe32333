// SPDX-License-Identifier: MIT
#include "tools/client/Receivers.h"

#include <array>
#include <cmath>

namespace feedline::client {

namespace {

// The ranges are those that the makers' data sheets give.
constexpr std::array hfRanges{FrequencyRange{500, 31e6}, FrequencyRange{60e6, 260e6}};
constexpr std::array airspyRanges{FrequencyRange{24e6, 1800e6}};
constexpr std::array anyRanges{FrequencyRange{500, 1800e6}};

constexpr std::array hfRates{912e3, 768e3, 456e3, 384e3, 228e3, 192e3, 114e3, 96e3, 57e3, 48e3};
constexpr std::array airspyRates{10e6, 6e6, 3e6, 2.5e6};
constexpr std::array anyRates{10e6,  6e6,   3e6,   2.5e6, 912e3, 768e3, 456e3,
                              384e3, 228e3, 192e3, 114e3, 96e3,  57e3,  48e3};

constexpr ReceiverKind hf{"AirSpyHF+", 768e3, hfRates, hfRanges};
constexpr ReceiverKind airspy{"AirSpy", 2.5e6, airspyRates, airspyRanges};
constexpr ReceiverKind any{"", 768e3, anyRates, anyRanges};

} // namespace

const ReceiverKind& receiverKind(std::string_view targetName) {
    if (targetName.starts_with(hf.name))
        return hf;
    return targetName.starts_with(airspy.name) ? airspy : any;
}

double nearestRate(const ReceiverKind& kind, double measured) {
    for (const double rate : kind.rates)
        if (std::abs(measured - rate) <= 0.01 * rate)
            return rate;
    return std::round(measured);
}

} // namespace feedline::client
