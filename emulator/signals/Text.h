// SPDX-License-Identifier: MIT
// Words and numbers of the emulator's small texts: scenes, commands, environment. Any thread may
// call.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace feedline::emulator {

/// The words of a line, apart by blanks; double quotes keep blanks inside a word (`text="CQ DE"` is
/// one word, its quotes taken off). A `#` outside quotes begins a comment.
std::vector<std::string> words(std::string_view line);

/// The parts of a text between separators, without blanks around them; empty parts are left out.
std::vector<std::string> parts(std::string_view text, char separator);

/// A decimal number with an optional factor behind it (k, M or G); nothing if there is anything
/// else in the text.
std::optional<double> number(std::string_view text);

/// A whole number, decimal or 0x hexadecimal, with an optional sign.
std::optional<long> wholeNumber(std::string_view text);

} // namespace feedline::emulator
