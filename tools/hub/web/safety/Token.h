// SPDX-License-Identifier: MIT
// The one secret.
#pragma once

#include <string_view>

namespace feedline::hub::web {

/// Takes as long for a wrong token as for the right one, wherever it differs. Never true without
/// any to compare with.
/// @param given  as it came; @param kept  as it is configured
bool sameToken(std::string_view given, std::string_view kept);

} // namespace feedline::hub::web
