// SPDX-License-Identifier: MIT
// Silence where there is no station.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace feedline::hub::web {

/// Opens at its level and closes 3 dB below it, a fifth of a second later, so that speech is not
/// chopped up. Not synchronised.
class Squelch {
public:
    explicit Squelch(double rate) : rate_(rate) {}

    /// dBFS; nothing: always open.
    void setLevel(std::optional<double> level) { level_ = level; }

    /// Fades `samples` in or out, in place.
    /// @param level  dBFS of the pass-band while they were received
    /// @return false when all of them are silence
    bool apply(std::span<float> samples, double level);

private:
    void judge(double level, std::size_t samples);

    double rate_;
    std::optional<double> level_;
    bool open_ = false;
    std::size_t below_ = 0; ///< samples for which the level has been below
    float fade_ = 0;        ///< 0 closed, 1 open
};

} // namespace feedline::hub::web
