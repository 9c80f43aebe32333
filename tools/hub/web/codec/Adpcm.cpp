// SPDX-License-Identifier: MIT
#include "tools/hub/web/codec/Adpcm.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace feedline::hub::web {

namespace {

constexpr std::array<int, 89> steps{
    7,     8,     9,     10,    11,    12,    13,    14,    16,    17,    19,   21,    23,
    25,    28,    31,    34,    37,    41,    45,    50,    55,    60,    66,   73,    80,
    88,    97,    107,   118,   130,   143,   157,   173,   190,   209,   230,  253,   279,
    307,   337,   371,   408,   449,   494,   544,   598,   658,   724,   796,  876,   963,
    1060,  1166,  1282,  1411,  1552,  1707,  1878,  2066,  2272,  2499,  2749, 3024,  3327,
    3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845,  8630,  9493, 10442, 11487,
    12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
constexpr std::array<int, 8> indexChanges{-1, -1, -1, -1, 2, 4, 6, 8};

// What both ends do with a code, bit for bit alike.
void follow(unsigned code, int& predicted, int& index) {
    const int step = steps[static_cast<std::size_t>(index)];
    int change = step >> 3;
    if ((code & 4U) != 0)
        change += step;
    if ((code & 2U) != 0)
        change += step >> 1;
    if ((code & 1U) != 0)
        change += step >> 2;
    predicted = std::clamp(predicted + ((code & 8U) != 0 ? -change : change), -32768, 32767);
    index = std::clamp(index + indexChanges[code & 7U], 0, static_cast<int>(steps.size()) - 1);
}

} // namespace

std::uint8_t AdpcmEncoder::code(int sample) {
    int difference = sample - predicted_;
    unsigned code = difference < 0 ? 8 : 0;
    difference = std::abs(difference);
    int step = steps[static_cast<std::size_t>(index_)];
    for (const unsigned bit : {4U, 2U, 1U}) {
        if (difference >= step) {
            code |= bit;
            difference -= step;
        }
        step >>= 1;
    }
    follow(code, predicted_, index_);
    return static_cast<std::uint8_t>(code);
}

void AdpcmEncoder::encode(std::span<const float> sound, std::vector<std::uint8_t>& out) {
    const auto predicted = static_cast<std::uint16_t>(predicted_);
    out.reserve(out.size() + bytesOf(sound.size()));
    out.push_back(static_cast<std::uint8_t>(predicted & 0xFFU));
    out.push_back(static_cast<std::uint8_t>(predicted >> 8U));
    out.push_back(static_cast<std::uint8_t>(index_));
    out.push_back(0);
    for (std::size_t at = 0; at < sound.size(); ++at) {
        const float limited = std::clamp(sound[at], -1.0F, 1.0F);
        const std::uint8_t next = code(static_cast<int>(std::lrint(32767 * limited)));
        if (at % 2 == 0)
            out.push_back(next);
        else
            out.back() = static_cast<std::uint8_t>(out.back() | next << 4U);
    }
}

bool decodeAdpcm(std::span<const std::uint8_t> block, std::size_t samples,
                 std::vector<std::int16_t>& out) {
    if (block.size() < AdpcmEncoder::bytesOf(samples) || block[2] >= steps.size())
        return false;
    int predicted = static_cast<std::int16_t>(block[0] | block[1] << 8U);
    int index = block[2];
    for (std::size_t at = 0; at < samples; ++at) {
        const unsigned both = block[AdpcmEncoder::headerBytes + at / 2];
        follow(at % 2 == 0 ? both & 0xFU : both >> 4U, predicted, index);
        out.push_back(static_cast<std::int16_t>(predicted));
    }
    return true;
}

} // namespace feedline::hub::web
