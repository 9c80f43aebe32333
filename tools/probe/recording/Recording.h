// SPDX-License-Identifier: MIT
// A recording of the IQ stream in a file, whatever the format.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace feedline::probe {

struct RecordingFacts {
    double sampleRate = 0;                  ///< Hz
    std::optional<std::uint32_t> frequency; ///< centre, Hz
    std::string target;                     ///< the server's name for its receiver
    std::int64_t start = 0;                 ///< of the first sample, ns since 1970 (UTC)
};

/// What has become of a recording.
struct RecordingOutcome {
    std::uint64_t pairs = 0;            ///< recorded, zeros included
    std::uint64_t lostPairs = 0;        ///< zeros for what never came
    std::uint64_t slowPairs = 0;        ///< what came, but could not be written as fast as it came
    std::optional<std::string> failure; ///< why the recording ended early
};

/// For one thread. Functions throw Failure.
class Recording {
public:
    virtual ~Recording() = default;

    /// Creates the file or files for a name that ends in .wav, .sigmf, .sigmf-data or .sigmf-meta.
    /// Existing ones are refused unless `force` is set.
    static std::unique_ptr<Recording> create(const std::string& name, bool force);
    static bool knows(const std::string& name);

    /// Once, before the first samples.
    virtual void begin(const RecordingFacts& facts) = 0;
    /// @param entries  I, Q, I, Q, ...
    virtual void write(std::span<const std::int16_t> entries) = 0;
    /// A remark on some of the recording, where the format has room for one.
    /// @param start, count  in pairs
    virtual void annotate(std::uint64_t start, std::uint64_t count, const std::string& label) = 0;
    /// Makes the file complete and valid, also when write() has failed before.
    virtual void finish() = 0;
    /// Takes the file or files away; for a recording that has not begun.
    virtual void discard() = 0;
};

} // namespace feedline::probe
