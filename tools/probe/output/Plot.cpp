// SPDX-License-Identifier: MIT
#include "tools/probe/output/Plot.h"

#include "tools/probe/ExitStatus.h"
#include "tools/probe/output/Canvas.h"
#include "tools/probe/output/Scale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace feedline::probe {

namespace {

using plot::Box;

constexpr Ink ink{0.13, 0.15, 0.19};
constexpr Ink faint{0.42, 0.45, 0.50};
constexpr Ink gridInk{0.88, 0.89, 0.91};
constexpr Ink traceInk{0.07, 0.36, 0.62};
constexpr double titleSize = 21;
constexpr double textSize = 13.5;

std::string number(double value, int decimalPlaces) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimalPlaces, value);
    const std::string result = text.data();
    const bool negative =
        result.front() == '-' && result.find_first_of("123456789") != std::string::npos;
    return (negative ? "\u2212" : "") + result.substr(result.front() == '-' ? 1 : 0);
}

std::string utc(std::int64_t nanoseconds) {
    const std::time_t seconds = nanoseconds / 1'000'000'000;
    std::tm time{};
    gmtime_r(&seconds, &time);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &time);
    return text.data();
}

// Everything that the parts of the picture have in common.
struct Picture {
    Canvas& canvas;
    const StreamFacts& facts;
    const Figures& total;
    Range kilohertz;
    Range levels;
    double seconds; ///< that the waterfall covers
};

double across(const Box& box, Range range, double value) {
    return box.x + box.width * range.part(value);
}

double down(const Box& box, Range range, double value) {
    return box.y + box.height * (1 - range.part(value));
}

void drawTitle(const Picture& picture) {
    const StreamFacts& facts = picture.facts;
    std::string title = facts.target;
    if (facts.frequency)
        title += "  \u00b7  " + number(*facts.frequency / 1e3, 3) + " kHz";
    picture.canvas.text(plot::spectrum.x, 36, title,
                        {titleSize, ink, Canvas::Alignment::left, true});
    const client::ReceptionFigures& reception = picture.total.reception;
    const std::string right = utc(reception.firstArrival) + "  \u00b7  " +
                              number(picture.total.axisRate / 1e3, 0) + " kS/s  \u00b7  " +
                              number(picture.seconds, 1) + " s";
    picture.canvas.text(plot::spectrum.x + plot::spectrum.width, 36, right,
                        {textSize, faint, Canvas::Alignment::right, false});
    const std::string lost = reception.counts.lost == 0
                                 ? "no datagrams lost"
                                 : std::to_string(reception.counts.lost) + " datagrams lost";
    picture.canvas.text(plot::spectrum.x + plot::spectrum.width, 58, lost,
                        {textSize, faint, Canvas::Alignment::right, false});
    picture.canvas.text(plot::spectrum.x, 62, "Averaged spectrum, dBFS",
                        {textSize, faint, Canvas::Alignment::left, false});
}

void drawLevelGrid(const Picture& picture) {
    const Box& box = plot::spectrum;
    for (const double level : ticks(picture.levels, 7)) {
        const double y = down(box, picture.levels, level);
        picture.canvas.line(box.x, y, box.x + box.width, y, gridInk);
        picture.canvas.text(box.x - 10, y + 5, number(level, 0),
                            {textSize, ink, Canvas::Alignment::right, false});
    }
}

void drawFrequencyGrid(const Picture& picture) {
    const Box& box = plot::spectrum;
    const auto values = ticks(picture.kilohertz, 10);
    for (const double value : values) {
        const double x = across(box, picture.kilohertz, value);
        picture.canvas.line(x, box.y, x, box.y + box.height, gridInk);
        for (const Box* axis : {&plot::spectrum, &plot::waterfall})
            picture.canvas.text(x, axis->y + axis->height + 20, number(value, decimals(values)),
                                {textSize, ink, Canvas::Alignment::centre, false});
    }
    const char* label =
        picture.facts.frequency ? "Frequency, kHz" : "Distance from the centre frequency, kHz";
    picture.canvas.text(box.x + box.width / 2.0, plot::waterfall.y + plot::waterfall.height + 46,
                        label, {textSize, faint, Canvas::Alignment::centre, false});
}

void drawTrace(const Picture& picture, const Spectrum& spectrum) {
    const Box& box = plot::spectrum;
    std::vector<Canvas::Point> points;
    for (std::size_t bin = 0; bin < spectrum.size(); ++bin)
        points.push_back(
            {box.x + box.width * static_cast<double>(bin) / static_cast<double>(spectrum.size()),
             down(box, picture.levels, spectrum[bin])});
    picture.canvas.area(points, box.y + box.height, traceInk);
}

// The carrier's label stays inside the box and clear of the trace.
void markCarrier(const Picture& picture) {
    if (!picture.total.carrier)
        return;
    const Box& box = plot::spectrum;
    const Carrier& carrier = *picture.total.carrier;
    const double frequency = (picture.facts.frequency.value_or(0) + carrier.offset) / 1e3;
    const double x = across(box, picture.kilohertz, frequency);
    const double y = down(box, picture.levels, carrier.dBFS);
    const bool rightHalf = x > box.x + box.width / 2.0;
    picture.canvas.text(
        x + (rightHalf ? -10 : 10), std::max(y + 4, box.y + 16.0),
        number(frequency, 2) + " kHz, " + number(carrier.dBFS, 1) + " dBFS",
        {textSize, ink, rightHalf ? Canvas::Alignment::right : Canvas::Alignment::left, false});
}

// One value for each column of the waterfall: the strongest bin in it, so that no carrier is lost.
std::vector<double> columns(const Spectrum& row) {
    constexpr auto count = static_cast<std::size_t>(plot::waterfall.width);
    std::vector<double> result(count, -INFINITY);
    for (std::size_t bin = 0; bin < row.size(); ++bin) {
        double& column = result[bin * count / row.size()];
        column = std::max<double>(column, row[bin]);
    }
    return result;
}

// The rows of the history that a line of the picture shows.
PowerSum rowsAt(const WaterfallHistory& history, int line) {
    const std::size_t count = history.rows().size();
    constexpr auto lines = static_cast<std::size_t>(plot::waterfall.height);
    const auto at = static_cast<std::size_t>(line);
    const std::size_t from = at * count / lines;
    const std::size_t to = std::max(from + 1, (at + 1) * count / lines);
    PowerSum sum;
    for (std::size_t row = from; row < to && row < count; ++row)
        sum.add(history.rows()[row]);
    return sum;
}

void drawWaterfall(const Picture& picture, const WaterfallHistory& history) {
    constexpr std::array<std::uint8_t, 3> nothing{205, 208, 213};
    const Range range = picture.levels;
    Canvas::Image image(plot::waterfall.width, plot::waterfall.height);
    for (int line = 0; line < plot::waterfall.height; ++line) {
        const PowerSum sum = rowsAt(history, line);
        const auto values = columns(sum.average());
        for (int column = 0; column < plot::waterfall.width; ++column)
            image.set(column, line,
                      sum.frames == 0
                          ? nothing
                          : colour(range.part(values[static_cast<std::size_t>(column)])));
    }
    picture.canvas.image(plot::waterfall.x, plot::waterfall.y, image);
}

void drawTimeAxis(const Picture& picture) {
    const Box& box = plot::waterfall;
    const Range range{0, std::max(picture.seconds, 1e-3)};
    const auto values = ticks(range, 6);
    for (const double value : values) {
        const double y = box.y + box.height * range.part(value);
        picture.canvas.line(box.x - 5, y, box.x, y, ink);
        picture.canvas.text(box.x - 10, y + 5, number(value, decimals(values)) + " s",
                            {textSize, ink, Canvas::Alignment::right, false});
    }
}

void drawColourBar(const Picture& picture) {
    const Box& box = plot::bar;
    Canvas::Image image(box.width, box.height);
    for (int line = 0; line < box.height; ++line)
        for (int column = 0; column < box.width; ++column)
            image.set(column, line, colour(1 - static_cast<double>(line) / box.height));
    picture.canvas.image(box.x, box.y, image);
    for (const double level : ticks(picture.levels, 6))
        picture.canvas.text(box.x + box.width + 8, down(box, picture.levels, level) + 5,
                            number(level, 0), {textSize, ink, Canvas::Alignment::left, false});
    picture.canvas.text(box.x, box.y - 10, "dBFS",
                        {textSize, faint, Canvas::Alignment::left, false});
}

Range frequencyRange(const StreamFacts& facts, double rate) {
    const double centre = facts.frequency.value_or(0) / 1e3;
    const double half = std::max(rate, 1.0) / 2e3;
    return {centre - half, centre + half};
}

} // namespace

void writePlot(const std::string& name, const StreamFacts& facts, const Figures& total,
               const Spectrum& spectrum, const WaterfallHistory& history) {
    Canvas canvas(plot::width, plot::height);
    const double rate = std::max(total.axisRate, 1.0);
    const double seconds = static_cast<double>(history.rows().size()) *
                           static_cast<double>(history.pairsPerRow()) / rate;
    const Picture picture{canvas, facts, total, frequencyRange(facts, rate), levelRange(spectrum),
                          seconds};
    drawTitle(picture);
    drawLevelGrid(picture);
    drawFrequencyGrid(picture);
    drawTrace(picture, spectrum);
    markCarrier(picture);
    drawWaterfall(picture, history);
    drawTimeAxis(picture);
    drawColourBar(picture);
    for (const Box* box : {&plot::spectrum, &plot::waterfall, &plot::bar})
        canvas.frame(box->x, box->y, box->width, box->height, ink);
    canvas.writePng(name);
}

} // namespace feedline::probe
