// SPDX-License-Identifier: MIT
// A recording as a WAV file of two channels, I left and Q right; RF64 when it outgrows 4 GiB.
#pragma once

#include "tools/probe/recording/OutputFile.h"
#include "tools/probe/recording/Recording.h"

#include <sndfile.h>

namespace feedline::probe {

class WavRecording : public Recording {
public:
    WavRecording(const std::string& name, bool force);
    ~WavRecording() override;
    WavRecording(const WavRecording&) = delete;
    WavRecording& operator=(const WavRecording&) = delete;

    void begin(const RecordingFacts& facts) override;
    void write(std::span<const std::int16_t> entries) override;
    void annotate(std::uint64_t, std::uint64_t, const std::string&) override {}
    void finish() override;
    void discard() override;

private:
    OutputFile file_;
    SNDFILE* sound_ = nullptr;
    std::uint64_t front_ = 0; ///< bytes before the first sample
};

} // namespace feedline::probe
