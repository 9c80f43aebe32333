// SPDX-License-Identifier: MIT
// Reads the command line and the configuration file.
#pragma once

#include "tools/hub/config/Configuration.h"

#include <optional>
#include <string>

namespace feedline::hub {

/// A configuration, or the exit status to end with at once (0 after --help and --version; errors
/// have been reported in one line on standard error).
struct ParsedCommandLine {
    Configuration configuration;
    std::optional<int> exit;
};

/// The configuration file's keys are the options' names; the command line has the last word.
/// Without --config, `usualFile` is read if it is there.
ParsedCommandLine parseCommandLine(int argc, const char* const* argv,
                                   const std::string& usualFile = {});

/// $XDG_CONFIG_HOME/feedline/hub.conf, else ~/.config/feedline/hub.conf; empty without a home.
std::string usualConfigurationFile();

/// Whether only this machine can reach the address.
bool isLoopback(const std::string& address);

} // namespace feedline::hub
