// SPDX-License-Identifier: MIT
// Bytes as they stand on the wire, and as tests compare and show them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace feedline::test {

using Bytes = std::vector<std::uint8_t>;

/// "04 20 05 00".
std::string hex(std::span<const std::uint8_t> bytes);

} // namespace feedline::test
