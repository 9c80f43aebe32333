// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/SoundStream.h"

namespace feedline::hub::web {

namespace {

constexpr std::size_t framesPerSecond = 50;

} // namespace

SoundStream::SoundStream(const Listening& listening, Sound sound, std::uint16_t sequence)
    : rate_(traits(listening.mode).audioRate), demodulator_(listening), codec_(sound),
      sequence_(sequence) {
    delay_ = demodulator_.delay();
    if (sound == Sound::opus)
        opus_.emplace(rate_);
}

void SoundStream::add(std::span<const std::complex<float>> pairs, double age,
                      const std::function<void(Frame)>& made) {
    heard_ = demodulator_.add(pairs, waiting_) || heard_;
    const std::size_t size = static_cast<std::size_t>(rate_) / framesPerSecond;
    std::size_t at = 0;
    for (; at + size <= waiting_.size(); at += size) {
        const auto later = static_cast<double>(waiting_.size() - at - size);
        made(makeFrame(std::span(waiting_).subspan(at, size), age + delay_ + later / rate_));
    }
    if (at != 0)
        heard_ = false;
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(at));
}

Frame SoundStream::makeFrame(std::span<const float> packet, double age) {
    SoundHeader header;
    header.codec = !heard_ ? Codec::silence : codec_ == Sound::opus ? Codec::opus : Codec::adpcm;
    header.sequence = sequence_++;
    header.level = demodulator_.level();
    header.age = age;
    header.rate = rate_;
    header.samples = packet.size();
    Frame frame = beginSound(header);
    if (header.codec == Codec::opus)
        opus_->encode(packet, frame);
    else if (header.codec == Codec::adpcm)
        adpcm_.encode(packet, frame);
    return frame;
}

} // namespace feedline::hub::web
