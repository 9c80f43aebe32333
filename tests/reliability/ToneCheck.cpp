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
    for (std::size_t n = 1; n < datagram::pairs; ++n)
        sum += std::complex<double>(pairs.re[n], pairs.im[n]) *
               std::complex<double>(pairs.re[n - 1], -pairs.im[n - 1]);
    setFrequency(std::arg(sum));
}

/// Each round turns all that there is by its own length, so that there is twice as much: a sine and
/// a cosine for every pair would cost more than all the rest.
void ToneCheck::setFrequency(double radians) {
    advance_ = radians;
    rotation_.re[0] = 1;
    rotation_.im[0] = 0;
    std::complex<double> turn = std::polar(1.0, advance_);
    for (std::size_t length = 1; length < datagram::pairs; length *= 2, turn *= turn) {
        const auto re = static_cast<float>(turn.real());
        const auto im = static_cast<float>(turn.imag());
        for (std::size_t n = 0; n < length; ++n) {
            rotation_.re[length + n] = rotation_.re[n] * re - rotation_.im[n] * im;
            rotation_.im[length + n] = rotation_.re[n] * im + rotation_.im[n] * re;
        }
    }
}

std::complex<double> ToneCheck::toneOf(const Pairs& pairs) const {
    float re = 0;
    float im = 0;
#pragma omp simd reduction(+ : re, im)
    for (std::size_t n = 0; n < datagram::pairs; ++n) {
        re += pairs.re[n] * rotation_.re[n] + pairs.im[n] * rotation_.im[n];
        im += pairs.im[n] * rotation_.re[n] - pairs.re[n] * rotation_.im[n];
    }
    return std::complex<double>(re, im) / static_cast<double>(datagram::pairs);
}

double ToneCheck::residue(const Pairs& pairs, std::complex<double> tone) const {
    const auto toneRe = static_cast<float>(tone.real());
    const auto toneIm = static_cast<float>(tone.imag());
    std::array<float, datagram::pairs> squares;
    for (std::size_t n = 0; n < datagram::pairs; ++n) {
        const float re = pairs.re[n] - toneRe * rotation_.re[n] + toneIm * rotation_.im[n];
        const float im = pairs.im[n] - toneRe * rotation_.im[n] - toneIm * rotation_.re[n];
        squares[n] = re * re + im * im;
    }
    return std::sqrt(*std::ranges::max_element(squares)) / std::abs(tone);
}

bool ToneCheck::take(const Pairs& pairs, bool afterGap) {
    if (seen_ == 0)
        learnFrequency(pairs);
    const std::complex<double> tone = toneOf(pairs);
    constexpr auto length = static_cast<double>(datagram::pairs);
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
