// SPDX-License-Identifier: MIT
#include "RecordingLog.h"

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
    std::vector<test::Line> lines;
};
Record& record() {
    static auto& only = *new Record;
    return only;
}

std::string formatted(const char* format, va_list arguments) {
    std::array<char, 2048> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    return text.data();
}

void keep(test::Line line) {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    r.lines.push_back(std::move(line));
}

} // namespace

void logLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep({test::Line::logged, formatted(format, arguments)});
    va_end(arguments);
}

void printText(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep({test::Line::printed, formatted(format, arguments)});
    va_end(arguments);
}

void fatal(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "%s\n", formatted(format, arguments).c_str());
    va_end(arguments);
    std::abort();
}

namespace test {

void PrintTo(const Line& line, std::ostream* out) {
    constexpr std::array streams{"logged", "printed", "noted"};
    *out << streams.at(line.stream) << " \"" << line.text << '"';
}

void note(std::string text) {
    keep(noted(std::move(text)));
}

std::vector<Line> recordedLines() {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    return r.lines;
}

void clearRecordedLines() {
    Record& r = record();
    const std::lock_guard lock(r.mutex);
    r.lines.clear();
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
