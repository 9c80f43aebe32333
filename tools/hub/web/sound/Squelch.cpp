// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Squelch.h"

#include <algorithm>

namespace feedline::hub::web {

namespace {

constexpr double hysteresis = 3; // dB
constexpr double hangTime = 0.2; // s
constexpr double fade = 0.005;   // s

} // namespace

void Squelch::judge(double level, std::size_t samples) {
    if (!level_ || level >= *level_) {
        open_ = true;
        below_ = 0;
    } else if (level < *level_ - hysteresis) {
        below_ += samples;
        open_ = open_ && static_cast<double>(below_) < hangTime * rate_;
    }
}

bool Squelch::apply(std::span<float> samples, double level) {
    judge(level, samples.size());
    if (!open_ && fade_ == 0) {
        std::fill(samples.begin(), samples.end(), 0.0F);
        return false;
    }
    const auto step = static_cast<float>((open_ ? 1 : -1) / (fade * rate_));
    for (float& sample : samples) {
        fade_ = std::clamp(fade_ + step, 0.0F, 1.0F);
        sample *= fade_;
    }
    return true;
}

} // namespace feedline::hub::web
