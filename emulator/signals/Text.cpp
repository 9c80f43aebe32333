// SPDX-License-Identifier: MIT
#include "emulator/signals/Text.h"

#include <charconv>
#include <cmath>

namespace feedline::emulator {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

double factorOf(char letter) {
    switch (letter) {
    case 'k':
        return 1e3;
    case 'M':
        return 1e6;
    case 'G':
        return 1e9;
    default:
        return 0;
    }
}

} // namespace

std::vector<std::string> words(std::string_view line) {
    std::vector<std::string> found;
    bool quoted = false;
    bool inside = false;
    for (char c : line) {
        if (c == '#' && !quoted)
            break;
        if (isBlank(c) && !quoted) {
            inside = false;
            continue;
        }
        if (!inside)
            found.emplace_back();
        inside = true;
        if (c == '"')
            quoted = !quoted;
        else
            found.back() += c;
    }
    return found;
}

std::vector<std::string> parts(std::string_view text, char separator) {
    std::vector<std::string> found;
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        const std::string_view part = trimmed(text.substr(0, end));
        if (!part.empty())
            found.emplace_back(part);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return found;
}

std::optional<double> number(std::string_view text) {
    double factor = 1;
    if (!text.empty() && factorOf(text.back()) != 0) {
        factor = factorOf(text.back());
        text.remove_suffix(1);
    }
    double value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end || !std::isfinite(value))
        return {};
    return value * factor;
}

std::optional<long> wholeNumber(std::string_view text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative)
        text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x");
    if (hexadecimal)
        text.remove_prefix(2);
    long value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (text.empty() || value < 0 || result.ec != std::errc() || result.ptr != end)
        return {};
    return negative ? -value : value;
}

} // namespace feedline::emulator
