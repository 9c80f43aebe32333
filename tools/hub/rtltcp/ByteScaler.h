// SPDX-License-Identifier: MIT
// From samples to the eight bits of an rtl_tcp stream.
#pragma once

#include <complex>
#include <cstdint>
#include <span>

namespace feedline::hub {

/// A receiver's 16 bits hold signals far below one step of eight: without gain most of an HF+ would
/// be noise of the rounding. The gain is either set or follows the signal. Zero is 127.5 on
/// average: samples are rounded up or down by chance, in proportion, so that the mean of a stream
/// stays where it was and nothing drifts. For one thread.
class ByteScaler {
public:
    /// Follows the signal: loud ones at once, quiet ones by some decibels a second.
    void followSignal();
    void setGain(double decibels);
    double gain() const; ///< dB, in force

    /// @param rate  pairs a second, for the pace of the following
    /// @param to    two bytes a pair: I, Q
    void convert(std::span<const std::complex<float>> pairs, std::uint32_t rate,
                 std::span<std::uint8_t> to);

private:
    float nextGain(std::span<const std::complex<float>> pairs, std::uint32_t rate) const;
    std::uint8_t toByte(float value);

    bool following_ = true;
    float gain_ = 1; ///< factor
    std::uint32_t chance_ = 0x9E3779B9;
};

} // namespace feedline::hub
