// SPDX-License-Identifier: MIT
#include "tools/soapy/Tuning.h"

#include <algorithm>
#include <cmath>

namespace feedline::soapy {

Tuning::Result Tuning::tune(const client::ReceiverKind& kind, double frequency) const {
    const double wanted = std::isfinite(frequency) ? (frequency + offset_) * factor() : 0;
    double nearest = kind.tunable.front().lowest;
    for (const client::FrequencyRange& range : kind.tunable) {
        const double candidate = std::clamp(wanted, range.lowest, range.highest);
        if (std::abs(candidate - wanted) < std::abs(nearest - wanted))
            nearest = candidate;
    }
    const auto receiver = static_cast<std::uint32_t>(std::llround(nearest));
    const bool clamped = nearest != wanted;
    return {receiver, clamped ? shown(receiver) : frequency, clamped};
}

std::vector<client::FrequencyRange> Tuning::ranges(const client::ReceiverKind& kind) const {
    std::vector<client::FrequencyRange> shown;
    for (const client::FrequencyRange& range : kind.tunable) {
        const double highest = range.highest / factor() - offset_;
        if (highest >= 0)
            shown.push_back({std::max(0.0, range.lowest / factor() - offset_), highest});
    }
    if (shown.empty())
        shown.push_back({0, 0});
    return shown;
}

double Tuning::shown(std::uint32_t receiver) const {
    return std::round(receiver / factor() - offset_);
}

} // namespace feedline::soapy
