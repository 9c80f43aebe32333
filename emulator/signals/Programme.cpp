// SPDX-License-Identifier: MIT
#include "emulator/signals/Programme.h"

#include "emulator/signals/Morse.h"
#include "emulator/signals/RadioData.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace feedline::emulator {
namespace {

constexpr double turn = 2 * std::numbers::pi;
constexpr unsigned audioRate = 48000;
constexpr unsigned keyingRate = 8000;
/// For sound alone, and for pilot and station data above it.
constexpr unsigned soundRate = 250000;
constexpr unsigned fullRate = 1000000;

// 19 groups of station data, 31616 cycles of the pilot and 1664 ms are the same time: the shortest
// loop of whole milliseconds that cuts no data group.
constexpr unsigned groups = 19;
constexpr unsigned loopMilliseconds = 1664;
constexpr std::size_t audioLength = std::size_t{audioRate} / 1000 * loopMilliseconds;

/// Eight notes, faded in and out, so that the loop joins.
std::vector<float> melody(double transposition) {
    constexpr std::array<double, 8> notes{440, 523.25, 659.26, 783.99, 880, 783.99, 659.26, 523.25};
    constexpr std::size_t noteLength = audioLength / notes.size();
    constexpr double fade = audioRate * 0.02;
    std::vector<float> sound(audioLength + 1);
    for (std::size_t i = 0; i < audioLength; ++i) {
        const auto at = static_cast<double>(i % noteLength);
        const double edge = std::min({1.0, at / fade, (noteLength - at) / fade});
        const double note = notes[i / noteLength] * transposition;
        sound[i] = static_cast<float>(edge * std::sin(turn * note * at / audioRate));
    }
    return sound;
}

/// A tone, moved by less than a hertz so that whole cycles fill the loop.
std::vector<float> steadyTone(double frequency) {
    const double cycles = std::max(1.0, std::round(frequency * loopMilliseconds / 1000));
    std::vector<float> sound(audioLength + 1);
    for (std::size_t i = 0; i <= audioLength; ++i)
        sound[i] = static_cast<float>(
            std::sin(turn * cycles * static_cast<double>(i) / static_cast<double>(audioLength)));
    return sound;
}

std::vector<float> soundOf(const Signal& signal, double transposition) {
    return signal.tone == 0 ? melody(transposition) : steadyTone(signal.tone * transposition);
}

/// The key's line with edges of 5 ms, which keep the signal narrow. Positions of the key last
/// 1.2 s / speed, whatever the number of samples that takes.
Loop<float> keying(const Signal& signal) {
    const std::vector<bool> line = keyed(signal.text);
    const double dot = 1.2 / signal.speed * keyingRate;
    const double edge = std::min(0.005 * keyingRate, dot / 2);
    const auto length = static_cast<std::size_t>(dot * static_cast<double>(line.size()));
    std::vector<float> values(length + 1, 0);
    double level = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const auto place = static_cast<std::size_t>(static_cast<double>(i) / dot);
        const bool down = line[std::min(place, line.size() - 1)];
        level = std::min(1.0, std::max(0.0, level + (down ? 1 : -1) / edge));
        values[i] = static_cast<float>(0.5 - 0.5 * std::cos(level * turn / 2));
    }
    return {std::move(values), keyingRate};
}

/// The parts of one FM station's multiplex.
class Multiplex {
public:
    explicit Multiplex(const Signal& signal)
        : signal_(signal), rate_(signal.stereo || signal.radioData ? fullRate : soundRate),
          left_(soundOf(signal, 1)), right_(soundOf(signal, 0.75)) {
        for (std::size_t i = 0; i < sine_.size(); ++i)
            sine_[i] = std::sin(turn * static_cast<double>(i) / static_cast<double>(sine_.size()));
        if (signal.radioData)
            data_ = differential(stationName("FEEDLINE", 0xC0DE, groups));
    }

    unsigned sampleRate() const { return rate_; }
    std::size_t length() const { return std::size_t{rate_} / 1000 * loopMilliseconds; }

    /// The multiplex at sample i, 1 being full deviation.
    double at(std::size_t i) const {
        const double l = sound(left_, i);
        if (!signal_.stereo)
            return 0.9 * l + dataAt(i);
        const double r = sound(right_, i);
        return 0.4 * (l + r) + 0.4 * (l - r) * wave(38, i) + 0.1 * wave(19, i) + dataAt(i);
    }

private:
    double sound(const std::vector<float>& values, std::size_t i) const {
        const double at = static_cast<double>(i) * (double{audioRate} / rate_);
        const auto place = static_cast<std::size_t>(at);
        const double part = at - static_cast<double>(place);
        return values[place] + part * (values[place + 1] - values[place]);
    }

    /// A sine of so many kHz.
    double wave(std::size_t kilohertz, std::size_t i) const {
        return sine_[kilohertz * i % sine_.size()]; // one millisecond at the full rate
    }

    /// Each bit is one cycle of its own clock, upright or turned over, on the third harmonic of the
    /// pilot.
    double dataAt(std::size_t i) const {
        if (!signal_.radioData)
            return 0;
        const double at = static_cast<double>(i) * (1187.5 / rate_);
        const auto bit = static_cast<std::size_t>(at);
        const auto phase = static_cast<std::size_t>((at - static_cast<double>(bit)) *
                                                    static_cast<double>(sine_.size()));
        return (data_[bit % data_.size()] ? 0.04 : -0.04) * sine_[phase] * wave(57, i);
    }

    const Signal& signal_;
    unsigned rate_;
    std::vector<float> left_;
    std::vector<float> right_;
    std::array<double, 1000> sine_{};
    std::vector<bool> data_;
};

} // namespace

Loop<float> envelopeOf(const Signal& signal) {
    if (signal.kind == Signal::Kind::cw)
        return keying(signal);
    Loop<float> envelope{soundOf(signal, 1), audioRate};
    for (float& value : envelope.values)
        value = static_cast<float>(1 + signal.depth / 100 * value);
    return envelope;
}

Loop<std::uint32_t> phaseOf(const Signal& signal) {
    const Multiplex multiplex(signal);
    const std::size_t length = multiplex.length();
    std::vector<double> turns(length + 1);
    double sum = 0;
    for (std::size_t i = 0; i < length; ++i) {
        turns[i] = sum;
        sum += multiplex.at(i) * signal.deviation / multiplex.sampleRate();
    }
    turns[length] = sum;
    const double surplus = (sum - std::round(sum)) / static_cast<double>(length);
    std::vector<std::uint32_t> phases(length + 1);
    for (std::size_t i = 0; i <= length; ++i) {
        const double phase = turns[i] - surplus * static_cast<double>(i);
        phases[i] = static_cast<std::uint32_t>((phase - std::floor(phase)) * 4294967295.0);
    }
    phases[length] = phases[0];
    return {std::move(phases), static_cast<double>(multiplex.sampleRate())};
}

} // namespace feedline::emulator
