// SPDX-License-Identifier: MIT
// What the command line asks for.
#pragma once

#include "tools/gains/GainTable.h"

#include <cstdint>
#include <optional>
#include <string>

namespace feedline::ctl {

enum class Command { status, setPort, setAddress, setDevice, gain, restart, quit, idle };
enum class Bus { any, session, system };

struct Options {
    Command command = Command::status;
    Bus bus = Bus::any;
    double wait = 0;                   ///< seconds to go on trying while there is no server
    bool json = false;                 ///< status
    bool watch = false;                ///< status
    bool force = false;                ///< restart
    std::string text;                  ///< the value of a setting, checked except for a device
    const gains::Gain* gain = nullptr; ///< which one
    std::int32_t value = 0;            ///< of the gain, within its range
};

/// The outcome of reading the command line: options, or the exit status to end with at once (0
/// after --help and --version; errors have been reported on standard error).
struct ParsedOptions {
    Options options;
    std::optional<int> exit;
};
ParsedOptions parseOptions(int argc, const char* const* argv);

/// A whole number and nothing else.
std::optional<std::int32_t> parseInteger(const std::string& text);

} // namespace feedline::ctl
