// SPDX-License-Identifier: MIT
#include "emulator/signals/RadioData.h"

#include <algorithm>
#include <array>

namespace feedline::emulator {
namespace {

constexpr unsigned generator = 0x5B9;

/// What tells the four blocks of a group apart, added to their check words.
constexpr std::array<unsigned, 4> offsets{0x0FC, 0x198, 0x168, 0x1B4};

unsigned checkWord(unsigned information) {
    unsigned rest = information << 10;
    for (int bit = 25; bit >= 10; --bit)
        if ((rest >> bit & 1U) != 0)
            rest ^= generator << (bit - 10);
    return rest;
}

void appendBlock(std::vector<bool>& bits, unsigned information, unsigned offset) {
    const unsigned block = information << 10 | (checkWord(information) ^ offset);
    for (int bit = 25; bit >= 0; --bit)
        bits.push_back((block >> bit & 1U) != 0);
}

unsigned letter(std::string_view name, unsigned place) {
    return place < name.size() ? static_cast<unsigned char>(name[place]) : ' ';
}

} // namespace

std::vector<bool> stationName(std::string_view name, unsigned programme, unsigned groups) {
    constexpr unsigned music = 1U << 3;
    constexpr unsigned popMusic = 10U << 5;
    constexpr unsigned noFrequencies = 0xE0CD;
    std::vector<bool> bits;
    bits.reserve(std::size_t{groups} * bitsPerGroup);
    for (unsigned group = 0; group < groups; ++group) {
        const unsigned segment = group % 4;
        const std::array<unsigned, 4> blocks{programme, popMusic | music | segment, noFrequencies,
                                             letter(name, 2 * segment) << 8 |
                                                 letter(name, 2 * segment + 1)};
        for (std::size_t i = 0; i < blocks.size(); ++i)
            appendBlock(bits, blocks[i], offsets[i]);
    }
    return bits;
}

std::vector<bool> differential(const std::vector<bool>& bits) {
    std::vector<bool> line;
    line.reserve(bits.size());
    bool level = false;
    for (bool bit : bits)
        line.push_back(level = level != bit);
    if (level)
        line.back() = false;
    return line;
}

} // namespace feedline::emulator
