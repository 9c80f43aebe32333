// SPDX-License-Identifier: MIT
#include "platform/Log.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

namespace feedline {
namespace {

constexpr std::size_t longestText = 1024;

void writeAll(int descriptor, const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(descriptor, text, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return; // Nobody reads it; the text is given up.
        text += written;
        length -= static_cast<std::size_t>(written);
    }
}

std::size_t clampLength(int wanted, std::size_t room) {
    if (wanted < 0)
        return 0;
    const auto length = static_cast<std::size_t>(wanted);
    return length < room ? length : room - 1;
}

/// "2026-11-21 09:05:53.123 feedlined[123] ", in local time.
std::size_t putPrefix(char* buffer, std::size_t room) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 32> date{};
    if (std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &local) == 0)
        date[0] = '\0';
    return clampLength(std::snprintf(buffer, room, "%s.%03ld %s[%d] ", date.data(),
                                     now.tv_nsec / 1000000, program_invocation_short_name,
                                     static_cast<int>(getpid())),
                       room);
}

void logLineV(const char* format, va_list arguments) {
    std::array<char, 128 + longestText> line{};
    const std::size_t start = putPrefix(line.data(), 128);
    std::size_t end =
        start + clampLength(std::vsnprintf(line.data() + start, longestText, format, arguments),
                            longestText);
    // A receiver's version text may hold anything; one diagnostic stays one line.
    for (std::size_t i = start; i < end; ++i)
        if (line.at(i) == '\n' || line.at(i) == '\r')
            line.at(i) = ' ';
    line.at(end++) = '\n';
    writeAll(STDERR_FILENO, line.data(), end);
}

} // namespace

void logLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLineV(format, arguments);
    va_end(arguments);
}

void printText(const char* format, ...) {
    std::array<char, longestText> text{};
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length =
        clampLength(std::vsnprintf(text.data(), text.size(), format, arguments), text.size());
    va_end(arguments);
    writeAll(STDOUT_FILENO, text.data(), length);
}

void fatal(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLineV(format, arguments);
    va_end(arguments);
    std::abort();
}

} // namespace feedline
