// SPDX-License-Identifier: MIT
// The data that an FM station sends with its sound, at 1187.5 bit/s on a carrier of 57 kHz.
#pragma once

#include <string_view>
#include <vector>

namespace feedline::emulator {

inline constexpr unsigned bitsPerGroup = 104;

/// `groups` groups of basic tuning information that name the station (the first eight characters,
/// two in a group, over and over), each of four blocks of 16 bits with its 10 check bits.
std::vector<bool> stationName(std::string_view name, unsigned programme, unsigned groups);

/// Differentially encoded: the output changes where the input is 1. A sequence with an odd number
/// of ones would not join with itself in a loop; its last bit is then encoded as its opposite.
std::vector<bool> differential(const std::vector<bool>& bits);

} // namespace feedline::emulator
