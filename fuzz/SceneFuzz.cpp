// SPDX-License-Identifier: MIT
// Longest input: 512 bytes.
// Reaches: the emulator's scene parser, with its words and numbers, on any text. A scene that is
// taken must hold only values that its manual allows, and must be the same scene when it is written
// down and read again; one that is refused must be refused with the number of a line that exists.
//
// Leaves out: the signals that are made of a scene; they take no more input than the values checked
// here.
#include "Require.h"
#include "emulator/signals/Scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace {

using namespace feedline::emulator;
using feedline::fuzz::require;

bool within(double value, double least, double most) {
    return value >= least && value <= most;
}

void requireLegal(const Signal& signal) {
    require(within(signal.frequency, 1, 4e9), "frequency");
    require(within(signal.level, -200, 0), "level");
    require(signal.tone == 0 || within(signal.tone, 1, 15e3), "tone");
    require(within(signal.depth, 0, 100), "depth");
    require(within(signal.speed, 1, 100), "speed");
    require(within(signal.deviation, 1, 100e3), "deviation");
    require((signal.kind == Signal::Kind::cw) != signal.text.empty(), "text");
}

std::string number(double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.17g", value);
    return text.data();
}

std::string option(const char* name, double value) {
    return std::string(" ") + name + '=' + number(value);
}

std::string written(const Signal& signal) {
    static constexpr std::array<const char*, 4> kinds{"carrier", "am", "cw", "fm"};
    std::string line = kinds.at(static_cast<std::size_t>(signal.kind));
    line += ' ' + number(signal.frequency) + ' ' + number(signal.level);
    const bool sound = signal.kind == Signal::Kind::am || signal.kind == Signal::Kind::fm;
    if (sound)
        line += signal.tone != 0 ? option("tone", signal.tone) : " melody";
    if (signal.kind == Signal::Kind::am)
        line += option("depth", signal.depth);
    if (signal.kind == Signal::Kind::cw)
        line += option("wpm", signal.speed) + " text=\"" + signal.text + '"';
    if (signal.kind == Signal::Kind::fm)
        line += option("deviation", signal.deviation);
    if (signal.stereo)
        line += " stereo";
    if (signal.radioData)
        line += " rds";
    return line + '\n';
}

bool same(const Signal& a, const Signal& b) {
    return a.kind == b.kind && a.frequency == b.frequency && a.level == b.level &&
           a.tone == b.tone && a.depth == b.depth && a.speed == b.speed && a.text == b.text &&
           a.deviation == b.deviation && a.stereo == b.stereo && a.radioData == b.radioData;
}

void requireSameAgain(const Scene& scene) {
    std::string text = "noise " + number(scene.noise) + '\n';
    for (const Signal& signal : scene.signals)
        text += written(signal);
    const Scene again = parseScene(text);
    require(again.noise == scene.noise, "the same noise again");
    require(again.signals.size() == scene.signals.size(), "as many signals again");
    for (std::size_t i = 0; i < scene.signals.size(); ++i)
        require(same(again.signals[i], scene.signals[i]), "the same signal again");
}

void requireLineOf(std::string_view text, const std::string& message) {
    int line = 0;
    require(std::sscanf(message.c_str(), "line %d: ", &line) == 1, "a line's number");
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    require(line >= 1 && line <= lines, "a line that exists");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const Scene scene = parseScene(text);
        require(within(scene.noise, -300, -40), "noise");
        for (const Signal& signal : scene.signals)
            requireLegal(signal);
        requireSameAgain(scene);
    } catch (const std::runtime_error& refused) {
        requireLineOf(text, refused.what());
    }
    return 0;
}
