// SPDX-License-Identifier: MIT
#include "RecordingLog.h"

#include "LineRecord.h"
#include "platform/Log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <ostream>

namespace feedline {
namespace {

// Never destroyed: a server thread may still log while the test process ends.
struct Record {
    std::mutex mutex;
    test::LineRecord lines;
};
Record& record() {
    static auto& only = *new Record;
    return only;
}

/// Longer ones end here.
using Text = std::array<char, 2048>;

const char* format(Text& text, const char* how, va_list arguments) {
    text[0] = '\0';
    std::vsnprintf(text.data(), text.size(), how, arguments);
    return text.data();
}

void keep(test::Line::Stream stream, std::string_view text) {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    r.lines.add(stream, text);
}

} // namespace

void logLine(const char* how, ...) {
    Text text; // NOLINT(cppcoreguidelines-pro-type-member-init)
    va_list arguments;
    va_start(arguments, how);
    keep(test::Line::logged, format(text, how, arguments));
    va_end(arguments);
}

void printText(const char* how, ...) {
    Text text; // NOLINT(cppcoreguidelines-pro-type-member-init)
    va_list arguments;
    va_start(arguments, how);
    keep(test::Line::printed, format(text, how, arguments));
    va_end(arguments);
}

void fatal(const char* how, ...) {
    Text text; // NOLINT(cppcoreguidelines-pro-type-member-init)
    va_list arguments;
    va_start(arguments, how);
    std::fprintf(stderr, "%s\n", format(text, how, arguments));
    va_end(arguments);
    std::abort();
}

namespace test {

void PrintTo(const Line& line, std::ostream* out) {
    constexpr std::array streams{"logged", "printed", "noted"};
    *out << streams.at(line.stream) << " \"" << line.text << '"';
}

void note(const std::string& text) {
    keep(Line::noted, text);
}

std::vector<Line> recordedLines() {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    return r.lines.lines();
}

void clearRecordedLines() {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    r.lines.clear();
}

bool recordedAre(const LineRecord& expected) {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    return r.lines == expected;
}

int countOf(const Line& line) {
    const std::vector<Line> lines = recordedLines();
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

bool waitForLine(const Line& line, int times) {
    return waitUntil([&] { return countOf(line) >= times; });
}

} // namespace test
} // namespace feedline
