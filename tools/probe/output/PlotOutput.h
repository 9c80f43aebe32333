// SPDX-License-Identifier: MIT
// The picture's file, claimed before the run and drawn after it.
#pragma once

#include "tools/probe/output/Plot.h"
#include "tools/probe/recording/OutputFile.h"

#include <memory>
#include <string>

namespace feedline::probe {

/// Functions throw Failure.
class PlotOutput {
public:
    /// Creates the file, so that a name that cannot be written is refused before the run and not
    /// after it. With `force` one that exists stays as it is until the picture is drawn.
    PlotOutput(std::string name, bool force);
    /// A file without a picture is taken away.
    ~PlotOutput();
    PlotOutput(const PlotOutput&) = delete;
    PlotOutput& operator=(const PlotOutput&) = delete;

    void write(const StreamFacts& facts, const Figures& total, const Spectrum& spectrum,
               const WaterfallHistory& history);

private:
    std::string name_;
    std::unique_ptr<OutputFile> claim_; ///< until the picture is drawn
};

} // namespace feedline::probe
