// SPDX-License-Identifier: MIT
// Averaged spectrum and waterfall as a picture.
#pragma once

#include "tools/probe/analysis/WaterfallHistory.h"
#include "tools/probe/output/Figures.h"

#include <string>

namespace feedline::probe {

/// Where things are in the picture, in pixels from the upper left corner.
namespace plot {

struct Box {
    int x, y, width, height;
};
constexpr int width = 1280;
constexpr int height = 864;
constexpr Box spectrum{90, 76, 1090, 320};
constexpr Box waterfall{90, 432, 1090, 366};
constexpr Box bar{1206, 432, 16, 366}; ///< the colours' meaning

} // namespace plot

/// Writes a PNG of plot::width by plot::height pixels; throws Failure. The file must exist already
/// or be creatable: whoever calls has seen to it that nothing is overwritten against the user's
/// will.
void writePlot(const std::string& name, const StreamFacts& facts, const Figures& total,
               const Spectrum& spectrum, const WaterfallHistory& history);

} // namespace feedline::probe
