#include "probe/WavRecording.h"

#include "probe/ExitStatus.h"

#include <cerrno>
#include <cmath>
#include <utility>

namespace feedline::probe {

WavRecording::WavRecording(const std::string& name, bool force) : m_file(name, force) {}

WavRecording::~WavRecording() {
    if (m_sound != nullptr)
        sf_close(m_sound);
}

void WavRecording::begin(const RecordingFacts& facts) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(std::lround(facts.sampleRate));
    info.channels = 2;
    info.format = SF_FORMAT_RF64 | SF_FORMAT_PCM_16;
    m_sound = sf_open_fd(m_file.fd(), SFM_WRITE, &info, SF_FALSE);
    if (m_sound == nullptr)
        throw Failure(ExitStatus::OutputFailed,
                      "cannot write '" + m_file.name() + "': " + sf_strerror(nullptr));
    // Up to 4 GiB the file becomes a plain WAV when it is closed.
    sf_command(m_sound, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    sf_command(m_sound, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    m_front = m_file.size();
}

void WavRecording::write(std::span<const std::int16_t> entries) {
    const auto frames = static_cast<sf_count_t>(entries.size() / 2);
    errno = 0;
    if (sf_writef_short(m_sound, entries.data(), frames) != frames)
        m_file.fail("cannot write", errno != 0 ? errno : EIO);
}

void WavRecording::finish() {
    if (m_sound == nullptr)
        return;
    m_file.cutToWhole(m_front, 4);
    if (sf_close(std::exchange(m_sound, nullptr)) != 0)
        m_file.fail("cannot complete", EIO);
}

void WavRecording::discard() {
    m_file.remove();
}

} // namespace feedline::probe
