// SPDX-License-Identifier: MIT
// A live spectrum and waterfall in the terminal.
#pragma once

#include "tools/probe/output/Figures.h"
#include "tools/probe/output/Scale.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <ostream>
#include <string>

namespace feedline::probe {

enum class ColourDepth { none, palette, full };

/// What the environment says of the terminal's colours (COLORTERM, TERM, NO_COLOR).
ColourDepth terminalColours();

/// Uses the terminal's other screen, and gives the first one back for the summary. The frames are
/// text with cursor movements, as wide and as high as the terminal is at that moment.
class TerminalView : public Presenter {
public:
    TerminalView(std::ostream& out, ColourDepth depth) : out_(out), depth_(depth) {}
    ~TerminalView() override;

    void second(const StreamFacts&, const Figures&) override {}
    bool wantsSpectra() const override { return true; }
    void spectrum(const StreamFacts& facts, const Figures& latest,
                  const Spectrum& spectrum) override;
    void summary(const StreamFacts& facts, const Figures& figures) override;

    bool works() const override { return out_.good(); }

    /// The frame for a terminal of this size, beginning at its upper left corner; every line is
    /// exactly as wide as the terminal. Empty for terminals that are too small.
    std::string frame(const StreamFacts& facts, const Figures& latest, const Spectrum& spectrum,
                      int width, int height);

private:
    void leave();

    std::ostream& out_;
    ColourDepth depth_;
    bool entered_ = false;
    std::deque<Spectrum> history_; ///< newest first
    std::optional<Range> range_;   ///< of levels; kept while it fits, so that the view stands still
};

} // namespace feedline::probe
