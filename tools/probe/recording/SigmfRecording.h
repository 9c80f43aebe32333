// SPDX-License-Identifier: MIT
// A recording in SigMF: the samples as they are in one file, what they mean in another.
#pragma once

#include "tools/probe/recording/OutputFile.h"
#include "tools/probe/recording/Recording.h"

#include <nlohmann/json.hpp>

namespace feedline::probe {

/// The description is there from the start and replaced as a whole at the end, so that a recording
/// can be read whatever happens to the program.
class SigmfRecording : public Recording {
public:
    /// @param stem  file name without .sigmf-data and .sigmf-meta
    SigmfRecording(const std::string& stem, bool force);

    void begin(const RecordingFacts& facts) override;
    void write(std::span<const std::int16_t> entries) override;
    void annotate(std::uint64_t start, std::uint64_t count, const std::string& label) override;
    void finish() override;
    void discard() override;

private:
    void replaceMeta();

    OutputFile data_;
    std::string metaName_;
    nlohmann::ordered_json meta_;
};

} // namespace feedline::probe
