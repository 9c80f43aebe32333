// SPDX-License-Identifier: MIT
// A server's status as text for people and as JSON for programs.
#pragma once

#include "tools/ctl/ServerStatus.h"

#include <string>

namespace feedline::ctl {

/// One screen, lines ended. Whatever the server's texts hold, nothing in them moves the cursor.
std::string statusScreen(const ServerStatus& status);

/// One JSON object in one line, without line end.
std::string statusJson(const ServerStatus& status);

} // namespace feedline::ctl
