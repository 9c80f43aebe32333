// SPDX-License-Identifier: MIT
#include "tools/hub/web/codec/Opus.h"

#include <opus.h>
#include <stdexcept>
#include <string>

namespace feedline::hub::web {

namespace {

// Of 0 to 10. Above 3 a packet costs half as much again (docs/performance.md) for a difference
// that the noise of a radio station covers.
constexpr int complexity = 3;
constexpr std::size_t largestPacket = 400; // bytes; 36,000 bits a second are 90

OpusEncoder* makeEncoder(int sampleRate) {
    int error = OPUS_OK;
    OpusEncoder* const encoder =
        opus_encoder_create(sampleRate, 1, OPUS_APPLICATION_RESTRICTED_LOWDELAY, &error);
    if (error != OPUS_OK)
        throw std::runtime_error(std::string("no Opus encoder: ") + opus_strerror(error));
    opus_encoder_ctl(encoder, OPUS_SET_BITRATE(OpusSound::bitRate(sampleRate)));
    opus_encoder_ctl(encoder, OPUS_SET_VBR(0));
    opus_encoder_ctl(encoder, OPUS_SET_COMPLEXITY(complexity));
    return encoder;
}

} // namespace

void OpusSound::Destroy::operator()(OpusEncoder* encoder) const {
    opus_encoder_destroy(encoder);
}

OpusSound::OpusSound(int sampleRate)
    : packetSamples_(static_cast<std::size_t>(packetSeconds * sampleRate)),
      encoder_(makeEncoder(sampleRate)) {}

void OpusSound::encode(std::span<const float> sound, std::vector<std::uint8_t>& out) {
    const std::size_t before = out.size();
    out.resize(before + largestPacket);
    const int bytes =
        opus_encode_float(encoder_.get(), sound.data(), static_cast<int>(packetSamples_),
                          out.data() + before, static_cast<opus_int32>(largestPacket));
    out.resize(before + static_cast<std::size_t>(bytes > 0 ? bytes : 0));
}

} // namespace feedline::hub::web
