// SPDX-License-Identifier: MIT
// The two streams of one-line diagnostics.
//
// Any thread may call; a call formats the whole text first and hands it over in one write, so lines
// of different threads never mix, nothing is ever buffered, and there is no lock to be held at
// exit. Texts are printf formats of at most 1023 bytes once filled in; longer ones are cut.
//
// The symbols are a link-time seam: the programs link platform/Log.cpp, tests link a recording
// stand-in.
#pragma once

namespace feedline {

/// One log line: standard error, after a prefix of time, program name and process id; the line end
/// is added.
void logLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Text for standard output exactly as it stands: no prefix, and no line end beyond those in the
/// text.
void printText(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs the line and ends the process at once (SIGABRT), for states in which going on would do
/// harm.
[[noreturn]] void fatal(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace feedline
