// SPDX-License-Identifier: MIT
// Level, DC offset and clipping of the two channels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace feedline::probe {

/// The value that stands for 0 dBFS.
constexpr double fullScale = 32767.0;

struct ChannelLevel {
    double dBFS = 0;           ///< 0 is a sine of full amplitude; minus infinity for silence
    double dc = 0;             ///< mean, 1 being full scale
    std::uint64_t clipped = 0; ///< samples at full scale
};

/// I and Q, in this order.
using Levels = std::array<ChannelLevel, 2>;

/// Not synchronised.
class LevelMeter {
public:
    /// @param entries  I, Q, I, Q, ...
    void add(std::span<const std::int16_t> entries);
    void add(const LevelMeter& other);
    Levels levels() const;
    void reset() { *this = {}; }

private:
    struct Sums {
        std::int64_t sum = 0;
        std::uint64_t squares = 0;
        std::uint64_t clipped = 0;
    };
    std::array<Sums, 2> channels_;
    std::uint64_t pairs_ = 0;
};

} // namespace feedline::probe
