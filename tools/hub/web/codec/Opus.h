// SPDX-License-Identifier: MIT
// Sound in Opus packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct OpusEncoder;

namespace feedline::hub::web {

/// One channel at a constant bit rate, without the look-ahead that the codec's speech coder needs.
/// Not synchronised.
class OpusSound {
public:
    static constexpr double packetSeconds = 0.02;
    /// Bits a second with what a packet's frame has around it: 24,000 of 12,000 samples, and 36,000
    /// of 48,000.
    static int bitRate(int sampleRate) { return sampleRate > 12000 ? 36000 : 24000; }

    /// @param sampleRate  8000, 12000, 16000, 24000 or 48000; throws std::runtime_error otherwise
    explicit OpusSound(int sampleRate);

    /// Samples that make a packet.
    std::size_t packetSamples() const { return packetSamples_; }
    /// Appends one packet of packetSamples() samples, -1 to 1.
    void encode(std::span<const float> sound, std::vector<std::uint8_t>& out);

private:
    struct Destroy {
        void operator()(OpusEncoder* encoder) const;
    };
    std::size_t packetSamples_;
    std::unique_ptr<OpusEncoder, Destroy> encoder_;
};

} // namespace feedline::hub::web
