// SPDX-License-Identifier: MIT
#include "platform/Controls.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace feedline {

std::int32_t leadingInteger(std::string_view text) {
    const std::string terminated(text);
    const long long value = std::strtoll(terminated.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(
        value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

} // namespace feedline
