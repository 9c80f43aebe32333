// SPDX-License-Identifier: MIT
// What can be asked of the emulator while it runs; docs/emulator.md lists the commands.
#pragma once

#include "emulator/bus/Bus.h"

#include <string>

namespace feedline::emulator {

/// Obeys one line. The reply is one line too, without its end: "ok", "ok <answer>" or
/// "error <reason>". Any thread may call.
std::string execute(Bus& bus, const std::string& line);

} // namespace feedline::emulator
