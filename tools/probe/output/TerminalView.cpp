// SPDX-License-Identifier: MIT
#include "tools/probe/output/TerminalView.h"

#include "tools/probe/output/StatusLine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace feedline::probe {

namespace {

constexpr int gutter = 7; // columns for the level labels
constexpr int smallestWidth = 40;
constexpr int smallestHeight = 12;
constexpr std::size_t mostHistory = 512;

constexpr const char* enterScreen = "\x1b[?1049h\x1b[?25l\x1b[2J";
constexpr const char* leaveScreen = "\x1b[0m\x1b[?25h\x1b[?1049l";
constexpr const char* plain = "\x1b[0m";

// The strongest bin of each column.
Spectrum columns(const Spectrum& spectrum, int width) {
    const auto count = static_cast<std::size_t>(width);
    Spectrum result(count, -INFINITY);
    for (std::size_t bin = 0; bin < spectrum.size(); ++bin) {
        float& column = result[bin * count / spectrum.size()];
        column = std::max(column, spectrum[bin]);
    }
    return result;
}

// Colour number of the 256-colour palette's 6 by 6 by 6 cube.
int paletteIndex(std::array<std::uint8_t, 3> rgb) {
    const auto level = [](std::uint8_t value) {
        return (value * 5 + 127) / 255;
    };
    return 16 + 36 * level(rgb[0]) + 6 * level(rgb[1]) + level(rgb[2]);
}

// Selects a colour; `layer` is 38 for the foreground, 48 for the background.
std::string select(ColourDepth depth, int layer, double part) {
    const auto rgb = colour(part);
    std::array<char, 48> text{};
    if (depth == ColourDepth::full)
        std::snprintf(text.data(), text.size(), "\x1b[%d;2;%d;%d;%dm", layer, rgb[0], rgb[1],
                      rgb[2]);
    else if (depth == ColourDepth::palette)
        std::snprintf(text.data(), text.size(), "\x1b[%d;5;%dm", layer, paletteIndex(rgb));
    return text.data();
}

std::string padded(std::string text, int width) {
    text.resize(static_cast<std::size_t>(width), ' ');
    return text;
}

// A column of the spectrum in one line of text: eighths of a character's height.
const char* block(double filled) {
    static constexpr std::array<const char*, 9> blocks{
        " ", "\u2581", "\u2582", "\u2583", "\u2584", "\u2585", "\u2586", "\u2587", "\u2588"};
    return blocks[static_cast<std::size_t>(std::lround(std::clamp(filled, 0.0, 1.0) * 8))];
}

const char* shade(double part) {
    static constexpr std::array<const char*, 5> shades{" ", "\u2591", "\u2592", "\u2593", "\u2588"};
    return shades[static_cast<std::size_t>(std::lround(part * 4))];
}

std::string levelLabel(double level) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%6.0f ", level);
    return padded(text.data(), gutter);
}

// The spectrum as lines of blocks, highest first.
std::string spectrumLines(const Spectrum& spectrum, Range range, ColourDepth depth, int width,
                          int lines) {
    const auto values = columns(spectrum, width - gutter);
    std::string text;
    for (int line = 0; line < lines; ++line) {
        const int below = lines - 1 - line;
        const double top = range.low + (range.high - range.low) * (below + 1) / lines;
        text += line % 3 == 0 ? levelLabel(top) : padded("", gutter);
        text += select(depth, 38, (below + 0.5) / lines);
        for (const float value : values)
            text += block(range.part(value) * lines - below);
        text += (depth == ColourDepth::none ? "" : plain);
        text += "\r\n";
    }
    return text;
}

// Labels under the columns that they belong to, as many as have room.
std::string frequencyLine(const StreamFacts& facts, double rate, int width) {
    constexpr int labelRoom = 14;
    const double centre = facts.frequency.value_or(0) / 1e3;
    const Range range{centre - rate / 2e3, centre + rate / 2e3};
    const auto values = ticks(range, std::max(1, (width - gutter) / labelRoom));
    std::string line = padded("   kHz", width);
    for (const double value : values) {
        std::array<char, 32> label{};
        const int length =
            std::snprintf(label.data(), label.size(), "%.*f", decimals(values), value);
        const int at = gutter + static_cast<int>(range.part(value) * (width - gutter));
        const int start = at - length / 2;
        if (start >= gutter && start + length <= width)
            line.replace(static_cast<std::size_t>(start), static_cast<std::size_t>(length),
                         label.data());
    }
    return line + "\r\n";
}

// One line of the waterfall. With colours a character shows two rows: one as its upper half in the
// foreground's colour, one as the background.
std::string waterfallLine(const std::deque<Spectrum>& history, std::size_t first, Range range,
                          ColourDepth depth, int width) {
    static const Spectrum nothing;
    const auto row = [&](std::size_t at) {
        return columns(at < history.size() ? history[at] : nothing, width - gutter);
    };
    const auto upper = row(first);
    std::string text = padded("", gutter);
    if (depth == ColourDepth::none) {
        for (const double value : upper)
            text += shade(range.part(value));
        return text;
    }
    const auto lower = row(first + 1);
    for (std::size_t at = 0; at < upper.size(); ++at)
        text += select(depth, 38, range.part(upper[at])) +
                select(depth, 48, range.part(lower[at])) + "\u2580";
    return text + plain;
}

} // namespace

ColourDepth terminalColours() {
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return std::string_view(value == nullptr ? "" : value);
    };
    if (!variable("NO_COLOR").empty() || variable("TERM") == "dumb")
        return ColourDepth::none;
    if (variable("COLORTERM") == "truecolor" || variable("COLORTERM") == "24bit")
        return ColourDepth::full;
    return variable("TERM").find("256color") != std::string_view::npos ? ColourDepth::palette
                                                                       : ColourDepth::none;
}

TerminalView::~TerminalView() {
    leave();
}

void TerminalView::spectrum(const StreamFacts& facts, const Figures& latest,
                            const Spectrum& spectrum) {
    if (!entered_) {
        entered_ = true;
        out_ << enterScreen;
    }
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
        size = {24, 80, 0, 0};
    out_ << "\x1b[H" << frame(facts, latest, spectrum, size.ws_col, size.ws_row) << "\x1b[J"
         << std::flush;
}

void TerminalView::summary(const StreamFacts& facts, const Figures& figures) {
    leave();
    out_ << summaryText(facts, figures) << std::flush;
}

std::string TerminalView::frame(const StreamFacts& facts, const Figures& latest,
                                const Spectrum& spectrum, int width, int height) {
    if (!spectrum.empty())
        history_.push_front(spectrum);
    if (history_.size() > mostHistory)
        history_.pop_back();
    if (width < smallestWidth || height < smallestHeight || history_.empty())
        return {};
    const Spectrum shown = columns(history_.front(), width - gutter);
    if (!range_ || !stillFits(*range_, shown))
        range_ = levelRange(shown);
    const double rate = std::max(latest.axisRate, 1.0);
    std::string text =
        padded(progressText(facts, latest) + "  " + countsText(latest), width) + "\r\n" +
        padded(levelsText(latest) + "  " + carrierText(facts, latest), width) + "\r\n";
    const int spectrumHeight = (height - 3) * 2 / 5;
    text += spectrumLines(history_.front(), *range_, depth_, width, spectrumHeight);
    text += frequencyLine(facts, rate, width);
    const int lines = height - 3 - spectrumHeight;
    const std::size_t rowsPerLine = depth_ == ColourDepth::none ? 1 : 2;
    for (int line = 0; line < lines; ++line)
        text += waterfallLine(history_, static_cast<std::size_t>(line) * rowsPerLine, *range_,
                              depth_, width) +
                (line + 1 < lines ? "\r\n" : "");
    return text;
}

void TerminalView::leave() {
    if (entered_)
        out_ << leaveScreen << std::flush;
    entered_ = false;
}

} // namespace feedline::probe
