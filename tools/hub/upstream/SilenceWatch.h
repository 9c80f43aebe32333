// SPDX-License-Identifier: MIT
// Decides what to do about a stream that should come and does not.
#pragma once

#include "tools/hub/band/Block.h"

#include <optional>

namespace feedline::hub {

/// Silence begins when nothing has come for a while. Then the steps follow each other, each with
/// time to work: stop and run, the command, and both again, ever more rarely. For one thread.
class SilenceWatch {
public:
    /// Nothing for so long is a silence. With the rounds in which it is looked at, well within 2 s.
    static constexpr std::chrono::milliseconds limit{1200};
    static constexpr std::chrono::seconds restartLimit{2};  ///< for stop and run to work
    static constexpr std::chrono::seconds commandLimit{10}; ///< for the command to work
    static constexpr std::chrono::seconds longestCommandLimit{300};

    enum class Step { none, began, stopAndRun, command, ended };

    /// A stream should come from now on.
    void expect(Clock::time_point now);
    /// No stream is expected.
    void rest();

    /// What to do now, each step returned once.
    Step look(Clock::time_point now, Clock::time_point lastArrival);

    bool silent() const { return began_.has_value(); }
    /// How long the silence has lasted, or the last one did.
    Clock::duration length() const { return length_; }

private:
    Step begin(Clock::time_point heard);
    Step next(Clock::time_point now);

    std::optional<Clock::time_point> expectedSince_;
    std::optional<Clock::time_point> began_;
    Clock::time_point nextStep_;
    Clock::duration length_{};
    std::chrono::seconds pause_{commandLimit};
    bool revived_ = false; ///< stop and run have been tried in this round
};

} // namespace feedline::hub
