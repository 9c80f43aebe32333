// SPDX-License-Identifier: MIT
// Who is there?
#pragma once

#include "tools/probe/Options.h"

#include <ostream>

namespace feedline::probe {

/// Asks the server for all that it tells about itself; throws Failure.
void printInfo(const Options& options, std::ostream& out);

} // namespace feedline::probe
