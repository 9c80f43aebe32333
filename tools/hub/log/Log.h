// SPDX-License-Identifier: MIT
// The hub's log: one line each on standard error.
#pragma once

#include <string_view>

namespace feedline::hub {

/// Any thread. Writes the line with one system call, after "feedline-hub: ".
void log(std::string_view line);

} // namespace feedline::hub
