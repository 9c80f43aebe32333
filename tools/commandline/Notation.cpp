// SPDX-License-Identifier: MIT
#include "tools/commandline/Notation.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace feedline::commandline {

std::optional<std::uint32_t> parseHertz(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{})
        return std::nullopt;
    std::string unit(rest, end);
    if (unit.ends_with("Hz"))
        unit.resize(unit.size() - 2);
    constexpr std::array<std::pair<const char*, double>, 5> units{
        {{"", 1}, {"k", 1e3}, {"K", 1e3}, {"M", 1e6}, {"G", 1e9}}};
    for (const auto& [name, factor] : units) {
        const double hertz = std::round(value * factor);
        if (unit == name && hertz >= 0 && hertz <= 4294967295.0)
            return static_cast<std::uint32_t>(hertz);
    }
    return std::nullopt;
}

bool parseServer(const std::string& text, std::string& host, std::uint16_t& port) {
    const auto colon = text.find(':');
    host = text.substr(0, colon);
    if (colon == std::string::npos)
        return !host.empty();
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, port);
    return !host.empty() && error == std::errc{} && rest == end && port != 0;
}

} // namespace feedline::commandline
