// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Mode.h"

#include <algorithm>
#include <cmath>

namespace feedline::hub::web {

std::optional<Mode> modeCalled(std::string_view name) {
    const auto* const found = std::find_if(modes.begin(), modes.end(),
                                           [&](const auto& each) { return each.name == name; });
    if (found == modes.end())
        return std::nullopt;
    return found->mode;
}

Edges allowedEdges(Mode mode, Edges wanted) {
    const ModeTraits& of = traits(mode);
    if (!std::isfinite(wanted.low))
        wanted.low = of.edges.low;
    if (!std::isfinite(wanted.high))
        wanted.high = of.edges.high;
    const double low = std::clamp(wanted.low, of.limits.low, of.limits.high - of.narrowest);
    return {low, std::clamp(wanted.high, low + of.narrowest, of.limits.high)};
}

} // namespace feedline::hub::web
