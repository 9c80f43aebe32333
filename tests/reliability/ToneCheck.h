// SPDX-License-Identifier: MIT
// Says of every datagram of a stream that carries one unmodulated carrier whether it continues the
// one before. A receiver library changes samples on their way (it shifts, balances and filters), so
// they cannot be compared with what went in; but whatever it does to a tone leaves a tone, and its
// phase counts the pairs: one lost, repeated, exchanged or torn shows.
#pragma once

#include "stream/DataDatagram.h"

#include <array>
#include <complex>
#include <cstdint>

namespace feedline::test {

class ToneCheck {
public:
    static constexpr std::uint64_t settling = 8192; ///< datagrams in which the frequency is learned
    static constexpr double phaseBound = 0.1;       ///< radians
    static constexpr double residueBound = 0.1;     ///< of the tone's amplitude, a sample

    /// The parts of one datagram's pairs: apart, the processor takes several at a time.
    struct Pairs {
        std::array<float, datagram::pairs> re;
        std::array<float, datagram::pairs> im;
    };

    /// False when the datagram does not continue the tone. One that follows a known gap starts
    /// anew.
    bool take(const Pairs& pairs, bool afterGap);

    std::uint64_t checked() const { return seen_ > settling ? seen_ - settling : 0; }
    std::uint64_t errors() const { return errors_; }
    double worstPhase() const { return worstPhase_; }     ///< radians
    double worstResidue() const { return worstResidue_; } ///< of the amplitude
    double amplitude() const { return amplitude_; }

private:
    void learnFrequency(const Pairs& pairs);
    void setFrequency(double radians);
    std::complex<double> toneOf(const Pairs& pairs) const;
    double residue(const Pairs& pairs, std::complex<double> tone) const;

    std::uint64_t seen_ = 0;
    std::uint64_t errors_ = 0;
    double advance_ = 0; ///< radians a pair
    double phase_ = 0;   ///< of the last datagram's first pair
    double worstPhase_ = 0;
    double worstResidue_ = 0;
    double amplitude_ = 0;
    Pairs rotation_{}; ///< a tone of amplitude 1 over one datagram
};

} // namespace feedline::test
