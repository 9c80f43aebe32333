// SPDX-License-Identifier: MIT
// The Unix stream socket through which a running emulator takes commands.
#pragma once

#include "emulator/bus/Bus.h"

#include <string>

namespace feedline::emulator {

/// Listens on the path, in place of whatever lies there, and serves every client that comes: a
/// line in, a line out. The thread is detached, named `emulator`, and leaves all signals to the
/// program it is in. False if the path cannot be listened on.
bool listenForCommands(Bus& bus, const std::string& path);

} // namespace feedline::emulator
