// SPDX-License-Identifier: MIT
// What the probe tells its user, whatever the form.
#pragma once

#include "tools/client/DatagramReceiver.h"
#include "tools/probe/analysis/LevelMeter.h"
#include "tools/probe/analysis/SpectrumEstimator.h"
#include "tools/probe/recording/Recording.h"

#include <cstdint>
#include <optional>
#include <string>

namespace feedline::probe {

/// What does not change while the stream runs.
struct StreamFacts {
    std::string target;                     ///< the server's name for its receiver
    std::string server;                     ///< host and port
    std::optional<std::uint32_t> frequency; ///< centre, Hz; nothing when the probe did not tune
    std::optional<double> length;           ///< seconds asked for
    std::string recording;                  ///< file name, empty for none
    int wantedBuffer = 0;                   ///< bytes
    int grantedBuffer = 0;                  ///< bytes
};

/// The state of the stream, for one second of it or for all of it.
struct Figures {
    double elapsed = 0;    ///< seconds since the start
    double sampleRate = 0; ///< measured, Hz; 0 when unknown
    double axisRate = 0;   ///< given, or the plausible rate nearest to the measured one
    client::ReceptionFigures reception;        ///< since the start
    Levels levels;                             ///< of this second, or of all
    std::optional<Carrier> carrier;            ///< of this second, or of all
    std::uint64_t unanalysed = 0;              ///< datagrams that levels and spectra do without
    std::optional<RecordingOutcome> recording; ///< at the end
};

/// Shows figures. Called by the session's thread only.
class Presenter {
public:
    virtual ~Presenter() = default;
    /// Once a second.
    virtual void second(const StreamFacts& facts, const Figures& figures) = 0;
    /// Several times a second, for those that say so: the spectrum since the last call.
    virtual bool wantsSpectra() const { return false; }
    virtual void spectrum(const StreamFacts& /*facts*/, const Figures& /*latest*/,
                          const Spectrum& /*spectrum*/) {}
    /// Once, at the end.
    virtual void summary(const StreamFacts& facts, const Figures& figures) = 0;
    /// False when what is shown can no longer reach anybody.
    virtual bool works() const { return true; }
};

} // namespace feedline::probe
