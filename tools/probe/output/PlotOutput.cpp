// SPDX-License-Identifier: MIT
#include "tools/probe/output/PlotOutput.h"

#include <filesystem>

namespace feedline::probe {

PlotOutput::PlotOutput(std::string name, bool force) : name_(std::move(name)) {
    if (!force || !std::filesystem::exists(name_))
        claim_ = std::make_unique<OutputFile>(name_, false);
}

PlotOutput::~PlotOutput() {
    if (claim_)
        claim_->remove();
}

void PlotOutput::write(const StreamFacts& facts, const Figures& total, const Spectrum& spectrum,
                       const WaterfallHistory& history) {
    writePlot(name_, facts, total, spectrum, history);
    claim_.reset();
}

} // namespace feedline::probe
