// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Discriminator.h"

#include <cmath>
#include <numbers>

namespace feedline::hub::web {

// The arc tangent of a ratio up to 1 is an odd polynomial, fitted by least squares so that its
// greatest error is least (1.7e-6); the C library's takes five times as long.
float angleOf(float y, float x) {
    const float across = std::abs(x);
    const float up = std::abs(y);
    const float larger = across > up ? across : up;
    if (!(larger > 0))
        return 0;
    const float ratio = (across > up ? up : across) / larger;
    const float s = ratio * ratio;
    float angle = -0.011719135F;
    for (const float coefficient :
         {0.052647349F, -0.11642648F, 0.19354038F, -0.33262283F, 0.99997722F})
        angle = angle * s + coefficient;
    angle *= ratio;
    if (up > across)
        angle = std::numbers::pi_v<float> / 2 - angle;
    if (x < 0)
        angle = std::numbers::pi_v<float> - angle;
    return std::copysign(angle, y);
}

Discriminator::Discriminator(double rate, const Modulation& modulation)
    : scale_(static_cast<float>(rate / (2 * std::numbers::pi * modulation.deviation))),
      share_(static_cast<float>(1 - std::exp(-1 / (modulation.emphasis * rate)))),
      gain_(static_cast<float>(
          std::hypot(1.0, 2 * std::numbers::pi * modulation.reference * modulation.emphasis))) {}

void Discriminator::add(std::span<const std::complex<float>> in, std::vector<float>& out) {
    out.reserve(out.size() + in.size());
    for (const std::complex<float> pair : in) {
        const float real = pair.real() * last_.real() + pair.imag() * last_.imag();
        const float imaginary = pair.imag() * last_.real() - pair.real() * last_.imag();
        last_ = pair;
        low_ += share_ * (scale_ * angleOf(imaginary, real) - low_);
        out.push_back(gain_ * low_);
    }
}

} // namespace feedline::hub::web
