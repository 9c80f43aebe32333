// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace feedline::gains {

/// Whether this is an address of this machine, "localhost" or this machine's own name. No name is
/// looked up.
bool isThisMachine(const std::string& host);

} // namespace feedline::gains
