// SPDX-License-Identifier: MIT
// Frequency modulation, back to sound.
#pragma once

#include <complex>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// How a sender modulates.
struct Modulation {
    double deviation; ///< Hz that come out as 1
    double emphasis;  ///< s, the time constant that the sender raises high tones with
    double
        reference; ///< Hz of the tone whose level the correction leaves alone; 0: the lowest ones
};

/// Not synchronised.
class Discriminator {
public:
    /// @param rate  pairs a second
    Discriminator(double rate, const Modulation& modulation);

    /// Appends as many entries to `out` as `in` has.
    void add(std::span<const std::complex<float>> in, std::vector<float>& out);

private:
    float scale_;
    float share_; ///< of the one-pole low-pass
    float gain_;
    std::complex<float> last_{0, 0};
    float low_ = 0;
};

/// The angle of y + ix, within 2e-6 radians; 0 for 0, 0.
float angleOf(float y, float x);

} // namespace feedline::hub::web
