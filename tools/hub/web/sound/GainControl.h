// SPDX-License-Identifier: MIT
// Keeps stations of any level equally loud.
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace feedline::hub::web {

enum class GainSpeed { off, fast, medium, slow };

/// Nothing for a name that is none. Names: "off", "fast", "medium", "slow".
std::optional<GainSpeed> gainSpeedCalled(std::string_view name);
std::string_view nameOf(GainSpeed speed);

/// Automatic gain control that looks ahead: the samples wait 5 ms, so that the gain is down before
/// a loud beginning comes out. Falls at once, holds, and rises slowly. Not synchronised.
class GainControl {
public:
    static constexpr double delay = 0.005; ///< s that it looks ahead
    static constexpr float target = 0.4F;  ///< amplitude that a steady signal comes out with

    explicit GainControl(double rate);

    void setSpeed(GainSpeed speed);
    /// dB, in force while the speed is `off`.
    void setFixedGain(double dB);
    /// In place; an amplitude above 1 is cut to 1.
    void apply(std::span<std::complex<float>> samples);

private:
    float gainFor(float amplitude);

    double rate_;
    GainSpeed speed_ = GainSpeed::medium;
    float fixedGain_ = 1;
    float level_ = 0; ///< amplitude that the gain is made for
    float release_ = 0;
    std::size_t hold_ = 0;
    std::size_t held_ = 0; ///< samples since the level was last reached
    float attack_;
    std::vector<std::complex<float>> waiting_; ///< ring of the last 5 ms
    std::size_t at_ = 0;
};

} // namespace feedline::hub::web
