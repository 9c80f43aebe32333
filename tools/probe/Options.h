// SPDX-License-Identifier: MIT
// What the command line asks for.
#pragma once

#include "tools/client/Endpoint.h"

#include <cstdint>
#include <optional>
#include <string>

namespace feedline::probe {

enum class Command { info, stream };

struct Options {
    Command command = Command::info;
    std::string host;                  ///< name or dotted IPv4 address
    std::uint16_t port = 50000;        ///< TCP, and the UDP port that datagrams come to
    double timeout = 3.0;              ///< seconds to wait for a connection or an answer
    double wait = 0.0;                 ///< seconds to go on trying while the connection is refused
    bool json = false;                 ///< JSON lines instead of text
    std::optional<std::uint32_t> tune; ///< Hz
    std::optional<double> seconds;     ///< length of the run; without it until a signal
    std::string bind = "0.0.0.0";      ///< local IPv4 address of connection and datagrams
    std::optional<double> rate;        ///< Hz; without it the measured rate
    std::string recording;             ///< file name, empty for none
    bool force = false;                ///< existing files may be overwritten
    std::string plot;                  ///< file name, empty for none
    bool spectrum = false;             ///< live view in the terminal
};

inline client::Endpoint endpointOf(const Options& options) {
    return {options.host, options.port, options.bind};
}
inline client::TimeLimits timeLimitsOf(const Options& options) {
    return {client::Seconds(options.timeout), client::Seconds(options.wait)};
}

/// The outcome of reading the command line: options, or the exit status to end with at once
/// (0 after --help and --version; errors have been reported on standard error).
struct ParsedOptions {
    Options options;
    std::optional<int> exit;
};
ParsedOptions parseOptions(int argc, const char* const* argv);

} // namespace feedline::probe
