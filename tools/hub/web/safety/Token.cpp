// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/Token.h"

#include <cstddef>

namespace feedline::hub::web {

bool sameToken(std::string_view given, std::string_view kept) {
    if (kept.empty())
        return false;
    // Volatile, so that no compiler ends the loop at the first difference.
    volatile unsigned different = given.size() == kept.size() ? 0 : 1;
    for (std::size_t at = 0; at < given.size(); ++at)
        different = different | static_cast<unsigned char>(given[at] ^ kept[at % kept.size()]);
    return different == 0;
}

} // namespace feedline::hub::web
