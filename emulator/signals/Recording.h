// SPDX-License-Identifier: MIT
// A recording of IQ pairs, played in a loop whatever the receiver is tuned to.
#pragma once

#include "emulator/signals/Content.h"

#include <cstdint>
#include <string>
#include <vector>

namespace feedline::emulator {

/// IQ pairs, real part first.
using Pairs = std::vector<std::int16_t>;

/// Reads a WAV file with two channels (name ending in .wav), or raw signed 16-bit little-endian
/// pairs. Throws std::runtime_error with a reason.
Pairs readRecording(const std::string& path);

/// The same signal as a real stream of twice the rate, spectrum upside down around a quarter of
/// that rate. A loop stays a loop.
std::vector<std::int16_t> realStream(const Pairs& pairs);

class Recording final : public Content {
public:
    /// For a receiver whose stream is real, or complex. At least one pair.
    Recording(const Pairs& pairs, bool real);

    void prepare(const View& view) override;
    void generate(const View& view, std::uint64_t position, std::size_t count,
                  Block& block) override;
    double power(const View& view) const override;

private:
    std::size_t length() const { return real_ ? samples_.size() : samples_.size() / 2; }

    bool real_;
    std::vector<std::int16_t> samples_;
    double meanPower_;
};

} // namespace feedline::emulator
