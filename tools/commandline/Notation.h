// SPDX-License-Identifier: MIT
// How people write servers and frequencies. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace feedline::commandline {

/// A number of hertz as people write it: "7100000", "7100k", "7.1M", "1.6MHz". Nothing when it is
/// no number or does not fit 32 bits.
std::optional<std::uint32_t> parseHertz(const std::string& text);

/// Splits "HOST[:PORT]"; without a port `port` stays as it is. False when the port is no number
/// from 1 to 65535 or the host is empty.
bool parseServer(const std::string& text, std::string& host, std::uint16_t& port);

} // namespace feedline::commandline
