// SPDX-License-Identifier: MIT
// One station's sound, from the IQ samples of a channel around it.
#pragma once

#include "tools/hub/web/sound/Decimator.h"
#include "tools/hub/web/sound/Discriminator.h"
#include "tools/hub/web/sound/GainControl.h"
#include "tools/hub/web/sound/Mode.h"
#include "tools/hub/web/sound/PassBand.h"
#include "tools/hub/web/sound/Squelch.h"

#include <complex>
#include <optional>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// What a listener chooses.
struct Listening {
    Mode mode = Mode::am;
    Edges edges = traits(Mode::am).edges;
    GainSpeed gainSpeed = GainSpeed::medium;
    double fixedGain = 40;         ///< dB, in force while the speed is `off`
    std::optional<double> squelch; ///< dBFS; nothing: always open
    bool operator==(const Listening&) const = default;
};

/// For one mode, since modes differ in what they take; another one needs another demodulator. Not
/// synchronised.
class Demodulator {
public:
    explicit Demodulator(const Listening& listening);

    /// Everything but the mode, which must be the same.
    void set(const Listening& listening);

    /// @param pairs  IQ samples at the mode's channel rate around the frequency tuned to; 1 is full
    ///               scale
    /// @param sound  is appended to: what `pairs` complete, at the mode's audio rate, -1 to 1
    /// @return false when all that was appended is silence, because the squelch is closed
    bool add(std::span<const std::complex<float>> pairs, std::vector<float>& sound);

    /// Seconds by which the sound is behind the samples that it was made of.
    double delay() const;

    /// dBFS of all that is in the pass-band, averaged over the last call that completed any sound.
    double level() const { return level_; }

private:
    bool passesAll() const;
    void filter(std::span<const std::complex<float>> pairs);
    void measure();
    void detect();
    void detectEnvelope();
    void detectTone(double offset);

    Listening listening_;
    PassBand passBand_;
    GainControl gain_;
    Discriminator discriminator_;
    Decimator decimator_;
    Squelch squelch_;
    std::vector<std::complex<float>> filtered_;
    std::vector<float> detected_;
    double level_ = -200;
    std::complex<double> oscillator_{1, 0};
    float carrier_ = 0; ///< amplitude, slowly averaged
};

} // namespace feedline::hub::web
