// SPDX-License-Identifier: MIT
// How the companions read their command lines: the same switches, the same words, the same exit
// status. One thread at a time.
#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace feedline::commandline {

/// Exit status for a command line or a configuration file that makes no sense. Nothing was tried.
constexpr int badArguments = 2;

/// A checked text argument: what is not good "is not <what>".
CLI::Validator check(const char* what, bool (*good)(const std::string&));

/// Checks for what Notation.h reads.
CLI::Validator isServer();
CLI::Validator isFrequency();

/// --version, and a line for every error: the program's name, a colon and what is wrong.
void giveUsualAnswers(CLI::App& app);

/// Reads the command line. The exit status to end with at once, if any: 0 after --help and
/// --version, which have been answered on standard output; `badArguments` after an error, which
/// has been reported on standard error.
std::optional<int> read(CLI::App& app, int argc, const char* const* argv);

} // namespace feedline::commandline
