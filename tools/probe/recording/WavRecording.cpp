// SPDX-License-Identifier: MIT
#include "tools/probe/recording/WavRecording.h"

#include "tools/probe/ExitStatus.h"

#include <cerrno>
#include <cmath>
#include <utility>

namespace feedline::probe {

WavRecording::WavRecording(const std::string& name, bool force) : file_(name, force) {}

WavRecording::~WavRecording() {
    if (sound_ != nullptr)
        sf_close(sound_);
}

void WavRecording::begin(const RecordingFacts& facts) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(std::lround(facts.sampleRate));
    info.channels = 2;
    info.format = SF_FORMAT_RF64 | SF_FORMAT_PCM_16;
    sound_ = sf_open_fd(file_.fd(), SFM_WRITE, &info, SF_FALSE);
    if (sound_ == nullptr)
        throw Failure(ExitStatus::outputFailed,
                      "cannot write '" + file_.name() + "': " + sf_strerror(nullptr));
    // Up to 4 GiB the file becomes a plain WAV when it is closed.
    sf_command(sound_, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    sf_command(sound_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    front_ = file_.size();
}

void WavRecording::write(std::span<const std::int16_t> entries) {
    const auto frames = static_cast<sf_count_t>(entries.size() / 2);
    errno = 0;
    if (sf_writef_short(sound_, entries.data(), frames) != frames)
        file_.fail("cannot write", errno != 0 ? errno : EIO);
}

void WavRecording::finish() {
    if (sound_ == nullptr)
        return;
    file_.cutToWhole(front_, 4);
    if (sf_close(std::exchange(sound_, nullptr)) != 0)
        file_.fail("cannot complete", EIO);
}

void WavRecording::discard() {
    file_.remove();
}

} // namespace feedline::probe
