// SPDX-License-Identifier: MIT
#include "emulator/signals/Morse.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace feedline::emulator {
namespace {

constexpr std::array<std::pair<char, std::string_view>, 43> signs{{
    {'A', ".-"},     {'B', "-..."},   {'C', "-.-."},   {'D', "-.."},   {'E', "."},
    {'F', "..-."},   {'G', "--."},    {'H', "...."},   {'I', ".."},    {'J', ".---"},
    {'K', "-.-"},    {'L', ".-.."},   {'M', "--"},     {'N', "-."},    {'O', "---"},
    {'P', ".--."},   {'Q', "--.-"},   {'R', ".-."},    {'S', "..."},   {'T', "-"},
    {'U', "..-"},    {'V', "...-"},   {'W', ".--"},    {'X', "-..-"},  {'Y', "-.--"},
    {'Z', "--.."},   {'0', "-----"},  {'1', ".----"},  {'2', "..---"}, {'3', "...--"},
    {'4', "....-"},  {'5', "....."},  {'6', "-...."},  {'7', "--..."}, {'8', "---.."},
    {'9', "----."},  {'/', "-..-."},  {'?', "..--.."}, {'=', "-...-"}, {'.', ".-.-.-"},
    {',', "--..--"}, {'-', "-....-"}, {'+', ".-.-."},
}};

std::string_view signOf(char character) {
    const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    const auto* found =
        std::find_if(signs.begin(), signs.end(), [&](auto& s) { return s.first == upper; });
    return found == signs.end() ? std::string_view() : found->second;
}

/// Brings the gap at the end of the line to at least `length` dots.
void gap(std::vector<bool>& line, std::size_t length) {
    std::size_t have = 0;
    while (have < line.size() && !line[line.size() - 1 - have])
        ++have;
    if (!line.empty() && have < length)
        line.insert(line.end(), length - have, false);
}

} // namespace

bool isMorse(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c == ' ' || !signOf(c).empty(); });
}

std::vector<bool> keyed(std::string_view text) {
    std::vector<bool> line;
    for (char character : text) {
        if (character == ' ')
            gap(line, 7);
        for (char element : signOf(character)) {
            line.insert(line.end(), element == '-' ? 3 : 1, true);
            line.push_back(false);
        }
        gap(line, 3);
    }
    gap(line, 7);
    return line;
}

} // namespace feedline::emulator
