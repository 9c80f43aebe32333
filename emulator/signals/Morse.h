// SPDX-License-Identifier: MIT
// Morse code as a keyed line.
#pragma once

#include <string_view>
#include <vector>

namespace feedline::emulator {

/// Whether every character of the text is a blank or has a Morse sign (letters of either case,
/// digits, `/ ? = . , - +`).
bool isMorse(std::string_view text);

/// The text as key positions, one entry a dot's length, true while the key is down: dash 3, gap in
/// a sign 1, between signs 3, between words 7. The message ends with a word gap, so that it can be
/// repeated. Characters without a sign are left out.
std::vector<bool> keyed(std::string_view text);

} // namespace feedline::emulator
