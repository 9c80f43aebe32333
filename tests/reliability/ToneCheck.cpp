// SPDX-License-Identifier: MIT
#include "ToneCheck.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace feedline::test {
namespace {

/// To -pi .. pi.
double wrapped(double angle) {
    return std::remainder(angle, 2 * std::numbers::pi);
}

} // namespace

/// From pair to pair, by the mean angle between neighbours.
void ToneCheck::learnFrequency(const Pairs& pairs) {
    std::complex<double> sum = 0;
    for (std::size_t n = 1; n < pairs.size(); ++n)
        sum += pairs[n] * std::conj(pairs[n - 1]);
    setFrequency(std::arg(sum));
}

void ToneCheck::setFrequency(double radians) {
    advance_ = radians;
    for (std::size_t n = 0; n < rotation_.size(); ++n)
        rotation_[n] = std::polar(1.0, advance_ * static_cast<double>(n));
}

double ToneCheck::residue(const Pairs& pairs, std::complex<double> tone) const {
    double worst = 0;
    for (std::size_t n = 0; n < pairs.size(); ++n)
        worst = std::max(worst, std::norm(pairs[n] - tone * rotation_[n]));
    return std::sqrt(worst) / std::abs(tone);
}

bool ToneCheck::take(const Pairs& pairs, bool afterGap) {
    if (seen_ == 0)
        learnFrequency(pairs);
    std::complex<double> tone = 0;
    for (std::size_t n = 0; n < pairs.size(); ++n)
        tone += pairs[n] * std::conj(rotation_[n]);
    tone /= static_cast<double>(pairs.size());

    const auto length = static_cast<double>(pairs.size());
    const double error = wrapped(std::arg(tone) - phase_ - advance_ * length);
    phase_ = std::arg(tone);
    amplitude_ = std::abs(tone);
    const bool judged = seen_ >= settling && !afterGap;
    if (!afterGap && seen_ != 0)
        // Fast while it is being learned, slow enough afterwards that a jump stays a jump.
        setFrequency(advance_ + error / length * (seen_ < settling ? 0.05 : 0.001));
    ++seen_;
    if (!judged)
        return true;
    const double rest = residue(pairs, tone);
    worstPhase_ = std::max(worstPhase_, std::abs(error));
    worstResidue_ = std::max(worstResidue_, rest);
    // Written so that a tone of no amplitude fails, too.
    const bool good = std::abs(error) < phaseBound && rest < residueBound;
    errors_ += good ? 0 : 1;
    return good;
}

} // namespace feedline::test
