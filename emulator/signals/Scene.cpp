// SPDX-License-Identifier: MIT
#include "emulator/signals/Scene.h"

#include "emulator/signals/Morse.h"
#include "emulator/signals/Text.h"

#include <map>
#include <stdexcept>

namespace feedline::emulator {
namespace {

using Words = std::vector<std::string>;

[[noreturn]] void refuse(const std::string& text) {
    throw std::runtime_error(text);
}

double numberIn(const std::string& what, const std::string& text, double least, double most) {
    const auto value = number(text);
    if (!value)
        refuse(what + " is not a number: " + text);
    if (*value < least || *value > most)
        refuse(what + " is out of range: " + text);
    return *value;
}

/// Options a kind of signal takes: `name=value`, or a bare word.
using Options = std::map<std::string, void (*)(Signal&, const std::string&)>;

void setTone(Signal& signal, const std::string& value) {
    signal.tone = numberIn("tone", value, 1, 15e3);
}

void setMelody(Signal& signal, const std::string&) {
    signal.tone = 0;
}

void setDepth(Signal& signal, const std::string& value) {
    signal.depth = numberIn("depth", value, 0, 100);
}

void setSpeed(Signal& signal, const std::string& value) {
    signal.speed = numberIn("wpm", value, 1, 100);
}

void setText(Signal& signal, const std::string& value) {
    if (value.empty() || !isMorse(value))
        refuse("text has no Morse signs for: " + value);
    signal.text = value;
}

void setDeviation(Signal& signal, const std::string& value) {
    signal.deviation = numberIn("deviation", value, 1, 100e3);
}

void setStereo(Signal& signal, const std::string&) {
    signal.stereo = true;
}

void setRadioData(Signal& signal, const std::string&) {
    signal.radioData = true;
}

struct KindOfSignal {
    Signal::Kind kind;
    Options options;
};

/// Never destroyed: the process may end while a thread reads it.
const std::map<std::string, KindOfSignal>& kinds() {
    static const auto& table = *new std::map<std::string, KindOfSignal>{
        {"carrier", {Signal::Kind::carrier, {}}},
        {"am", {Signal::Kind::am, {{"tone", setTone}, {"melody", setMelody}, {"depth", setDepth}}}},
        {"cw", {Signal::Kind::cw, {{"wpm", setSpeed}, {"text", setText}}}},
        {"fm",
         {Signal::Kind::fm,
          {{"tone", setTone},
           {"melody", setMelody},
           {"deviation", setDeviation},
           {"stereo", setStereo},
           {"rds", setRadioData}}}},
    };
    return table;
}

void applyOption(Signal& signal, const Options& options, const std::string& word) {
    const std::size_t equals = word.find('=');
    const auto option = options.find(word.substr(0, equals));
    if (option == options.end())
        refuse("unknown option: " + word);
    option->second(signal, equals == std::string::npos ? "" : word.substr(equals + 1));
}

Signal parseSignal(const KindOfSignal& kind, const Words& line) {
    if (line.size() < 3)
        refuse(line[0] + " needs a frequency and a level");
    Signal signal;
    signal.kind = kind.kind;
    signal.frequency = numberIn("frequency", line[1], 1, 4e9);
    signal.level = numberIn("level", line[2], -200, 0);
    for (std::size_t i = 3; i < line.size(); ++i)
        applyOption(signal, kind.options, line[i]);
    if (signal.kind == Signal::Kind::cw && signal.text.empty())
        refuse("cw needs a text");
    return signal;
}

void parseLine(Scene& scene, const Words& line) {
    if (line[0] == "noise") {
        if (line.size() != 2)
            refuse("noise needs one level");
        scene.noise = numberIn("noise", line[1], -300, -40);
        return;
    }
    const auto kind = kinds().find(line[0]);
    if (kind == kinds().end())
        refuse("unknown kind of signal: " + line[0]);
    scene.signals.push_back(parseSignal(kind->second, line));
}

} // namespace

std::string_view defaultSceneText() {
    return R"(# The 40 metre band and its neighbours
carrier 7.150M -20
carrier 7.075M -45
carrier 6.970M -60
am      7.200M -35 melody depth=70
am      7.255M -50 tone=1000 depth=50
cw      7.030M -40 wpm=18 text="CQ CQ DE FEEDLINE FEEDLINE K"
# Broadcast in band II
fm      100.0M -20 stereo rds
fm      99.2M  -45 deviation=60k
fm      100.9M -50 deviation=60k stereo
# An aerodrome
am      125.3M -35 tone=400 depth=60
noise   -129
)";
}

Scene parseScene(std::string_view text) {
    Scene scene;
    for (int lineNumber = 1; !text.empty(); ++lineNumber) {
        const std::size_t end = text.find('\n');
        const Words line = words(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        try {
            if (!line.empty())
                parseLine(scene, line);
        } catch (const std::runtime_error& error) {
            refuse("line " + std::to_string(lineNumber) + ": " + error.what());
        }
    }
    return scene;
}

} // namespace feedline::emulator
