// SPDX-License-Identifier: MIT
// What each command does.
#pragma once

#include "tools/ctl/Failure.h"
#include "tools/ctl/Options.h"

#include <ostream>

namespace feedline::ctl {

/// Carries out the command and says on `out` what has come of it. What goes wrong is a Failure.
ExitStatus execute(const Options& options, std::ostream& out);

} // namespace feedline::ctl
