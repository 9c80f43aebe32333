// SPDX-License-Identifier: MIT
#include "tools/hub/web/messages/Frames.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace feedline::hub::web {

namespace {

template <typename Unsigned>
void put(Frame& frame, Unsigned value) {
    for (std::size_t byte = 0; byte < sizeof value; ++byte)
        frame.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
}

void putDouble(Frame& frame, double value) {
    put(frame, std::bit_cast<std::uint64_t>(value));
}

std::uint16_t tenths(double level) {
    const auto rounded = static_cast<std::int16_t>(std::lround(std::clamp(10 * level, -3e4, 3e4)));
    return static_cast<std::uint16_t>(rounded);
}

std::uint16_t milliseconds(double seconds) {
    return static_cast<std::uint16_t>(std::clamp(1000 * seconds, 0.0, 65535.0));
}

constexpr std::size_t ageOffset = 1 + 1 + 2 + 2;

} // namespace

void addAge(Frame& frame, double seconds) {
    const double before = (frame[ageOffset] | frame[ageOffset + 1] << 8U) / 1000.0;
    const std::uint16_t age = milliseconds(before + seconds);
    frame[ageOffset] = static_cast<std::uint8_t>(age & 0xFFU);
    frame[ageOffset + 1] = static_cast<std::uint8_t>(age >> 8U);
}

Frame beginSound(const SoundHeader& header) {
    Frame frame;
    put(frame, static_cast<std::uint8_t>(FrameType::sound));
    put(frame, static_cast<std::uint8_t>(header.codec));
    put(frame, header.sequence);
    put(frame, tenths(header.level));
    put(frame, milliseconds(header.age));
    put(frame, static_cast<std::uint16_t>(header.rate / 100));
    put(frame, static_cast<std::uint16_t>(header.samples));
    return frame;
}

Frame makeRow(const RowHeader& header, const LevelRow& row) {
    Frame frame;
    frame.reserve(RowHeader::bytes + rowPoints);
    put(frame, static_cast<std::uint8_t>(FrameType::row));
    put(frame, std::uint8_t{0});
    put(frame, header.sequence);
    put(frame, tenths(header.level));
    put(frame, milliseconds(header.age));
    putDouble(frame, header.view.low);
    putDouble(frame, header.view.span);
    std::array<std::uint8_t, rowPoints> points{};
    row.cut(header.view, points);
    frame.insert(frame.end(), points.begin(), points.end());
    return frame;
}

} // namespace feedline::hub::web
