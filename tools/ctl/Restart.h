// SPDX-License-Identifier: MIT
// Whether Restart does good or harm at the moment.
#pragma once

#include "tools/ctl/ServerStatus.h"

#include <string>

namespace feedline::ctl {

/// The title of the device list that a word of the command line stands for: a title itself in any
/// case, "hf" or "airspy". Empty when it is none of them.
std::string deviceTitle(const std::string& word, const std::vector<std::string>& devices);

bool clientIsConnected(const ServerStatus& status);

/// Why Restart is better left alone, and what to do instead, in one line. Empty when it is safe: a
/// client is connected, so that the server comes back, and the chosen receiver is of a kind that
/// the process has not opened, so that it can.
std::string reasonAgainstRestart(const ServerStatus& status);

/// How the server is started anew, "systemctl --user restart feedlined" for instance.
std::string newStart(const ServerStatus& status);

/// The same for one that has ended.
std::string start(const ServerStatus& status);

} // namespace feedline::ctl
