// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/GainControl.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace feedline::hub::web {

namespace {

constexpr double attack = 0.001;     // s, time constant
constexpr float greatestGain = 1e6F; // 120 dB: the quietest receiver noise becomes audible, no more

struct Speed {
    GainSpeed speed;
    std::string_view name;
    double hold;    // s
    double release; // s, time constant
};

constexpr std::array<Speed, 4> speeds{{{GainSpeed::off, "off", 0, 1},
                                       {GainSpeed::fast, "fast", 0.05, 0.1},
                                       {GainSpeed::medium, "medium", 0.25, 0.4},
                                       {GainSpeed::slow, "slow", 0.5, 1.5}}};

} // namespace

std::optional<GainSpeed> gainSpeedCalled(std::string_view name) {
    const auto* const found = std::find_if(speeds.begin(), speeds.end(),
                                           [&](const Speed& each) { return each.name == name; });
    if (found == speeds.end())
        return std::nullopt;
    return found->speed;
}

std::string_view nameOf(GainSpeed speed) {
    return speeds[static_cast<std::size_t>(speed)].name;
}

GainControl::GainControl(double rate)
    : rate_(rate), attack_(static_cast<float>(1 - std::exp(-1 / (attack * rate)))),
      waiting_(static_cast<std::size_t>(delay * rate)) {
    setSpeed(GainSpeed::medium);
}

void GainControl::setSpeed(GainSpeed speed) {
    const Speed& chosen = speeds[static_cast<std::size_t>(speed)];
    speed_ = speed;
    hold_ = static_cast<std::size_t>(chosen.hold * rate_);
    release_ = static_cast<float>(std::exp(-1 / (chosen.release * rate_)));
}

void GainControl::setFixedGain(double dB) {
    fixedGain_ = static_cast<float>(std::pow(10, dB / 20));
}

float GainControl::gainFor(float amplitude) {
    if (amplitude >= level_) {
        level_ += attack_ * (amplitude - level_);
        held_ = 0;
    } else if (++held_ > hold_) {
        level_ = std::max(amplitude, level_ * release_);
    }
    if (speed_ == GainSpeed::off)
        return fixedGain_;
    return level_ * greatestGain > target ? target / level_ : greatestGain;
}

void GainControl::apply(std::span<std::complex<float>> samples) {
    for (std::complex<float>& sample : samples) {
        const float gain = gainFor(std::sqrt(std::norm(sample)));
        std::swap(sample, waiting_[at_]);
        at_ = at_ + 1 == waiting_.size() ? 0 : at_ + 1;
        sample *= gain;
        const float power = std::norm(sample);
        if (power > 1)
            sample /= std::sqrt(power);
    }
}

} // namespace feedline::hub::web
