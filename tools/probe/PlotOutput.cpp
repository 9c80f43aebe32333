#include "probe/PlotOutput.h"

#include <filesystem>

namespace feedline::probe {

PlotOutput::PlotOutput(std::string name, bool force) : m_name(std::move(name)) {
    if (!force || !std::filesystem::exists(m_name))
        m_claim = std::make_unique<OutputFile>(m_name, false);
}

PlotOutput::~PlotOutput() {
    if (m_claim)
        m_claim->remove();
}

void PlotOutput::write(const StreamFacts& facts, const Figures& total, const Spectrum& spectrum,
                       const WaterfallHistory& history) {
    writePlot(m_name, facts, total, spectrum, history);
    m_claim.reset();
}

} // namespace feedline::probe
