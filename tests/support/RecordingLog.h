// SPDX-License-Identifier: MIT
// Stands in for platform/Log.cpp: keeps every line, in order, for a test to look at.
#pragma once

#include "Waiting.h"

#include <string>
#include <utility>
#include <vector>

namespace feedline::test {

struct Line {
    enum Stream { logged, printed, noted } stream;
    std::string text; ///< as handed over: no prefix, and for printed with its line end

    bool operator==(const Line&) const = default;
};

inline Line logged(std::string text) {
    return {Line::logged, std::move(text)};
}
inline Line printed(std::string text) {
    return {Line::printed, std::move(text)};
}
inline Line noted(std::string text) {
    return {Line::noted, std::move(text)};
}
void PrintTo(const Line& line, std::ostream* out);

/// Puts a line of the test's own among the others, e.g. a call to a stand-in, so that one sequence
/// shows in which order everything happened. Any thread.
void note(const std::string& text);

/// Everything so far, in the order of the calls. Any thread.
std::vector<Line> recordedLines();
void clearRecordedLines();

/// Whether the line has been recorded; how often.
int countOf(const Line& line);

/// Waits until the line has been recorded `times` times; false after `longestWait`.
bool waitForLine(const Line& line, int times = 1);

} // namespace feedline::test
