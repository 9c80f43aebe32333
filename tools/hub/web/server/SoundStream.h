// SPDX-License-Identifier: MIT
// From a channel's samples to the sound frames of one page.
#pragma once

#include "tools/hub/web/codec/Adpcm.h"
#include "tools/hub/web/codec/Opus.h"
#include "tools/hub/web/messages/Frames.h"
#include "tools/hub/web/messages/Wishes.h"
#include "tools/hub/web/sound/Demodulator.h"

#include <complex>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// A frame is 20 ms of sound. Not synchronised.
class SoundStream {
public:
    /// @param sound  not `off`; @param sequence  of the first frame
    SoundStream(const Listening& listening, Sound sound, std::uint16_t sequence);

    /// Everything but the mode, which must be the same.
    void set(const Listening& listening) { demodulator_.set(listening); }

    /// @param pairs  at the mode's channel rate; 1 is full scale
    /// @param age    s since the newest of them came to the hub
    /// @param made   is called with each frame that they complete
    void add(std::span<const std::complex<float>> pairs, double age,
             const std::function<void(Frame)>& made);

    std::uint16_t sequence() const { return sequence_; } ///< of the next frame

private:
    Frame makeFrame(std::span<const float> packet, double age);

    int rate_;     ///< of the sound
    double delay_; ///< s that the filters take
    Demodulator demodulator_;
    Sound codec_;
    AdpcmEncoder adpcm_;
    std::optional<OpusSound> opus_;
    std::vector<float> waiting_; ///< short of a frame
    bool heard_ = false;         ///< any of what waits is more than silence
    std::uint16_t sequence_;
};

} // namespace feedline::hub::web
