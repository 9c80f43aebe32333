// SPDX-License-Identifier: MIT
// The figures as text: one line a second, redrawn in place on a terminal, and a summary.
#pragma once

#include "tools/probe/output/Figures.h"

#include <ostream>
#include <string>

namespace feedline::probe {

/// The parts, for reuse by other views.
std::string countsText(const Figures& figures);
std::string levelsText(const Figures& figures);
std::string carrierText(const StreamFacts& facts, const Figures& figures);
/// "[#####.....]  5/10 s", or the elapsed seconds when the length is not known.
std::string progressText(const StreamFacts& facts, const Figures& figures);
/// Several lines, each ended.
std::string summaryText(const StreamFacts& facts, const Figures& figures);

class StatusLine : public Presenter {
public:
    /// @param terminal  whether `out` is one, so that the line can be redrawn in place; its width
    /// is
    ///                  asked from standard output each time
    StatusLine(std::ostream& out, bool terminal) : out_(out), terminal_(terminal) {}
    void second(const StreamFacts& facts, const Figures& figures) override;
    void summary(const StreamFacts& facts, const Figures& figures) override;
    bool works() const override { return out_.good(); }

private:
    std::ostream& out_;
    bool terminal_;
};

} // namespace feedline::probe
