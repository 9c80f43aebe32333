// SPDX-License-Identifier: MIT
#include "emulator/signals/Band.h"

#include "emulator/signals/LoopPlace.h"
#include "emulator/signals/Noise.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace feedline::emulator {

/// A signal with its modulation, which is made when the signal comes into view for the first time.
struct Band::Station {
    Signal signal;
    std::once_flag once;
    Loop<float> envelope;
    Loop<std::uint32_t> phase;

    void make() {
        std::call_once(once, [this] {
            if (signal.kind == Signal::Kind::fm)
                phase = phaseOf(signal);
            else if (signal.kind != Signal::Kind::carrier)
                envelope = envelopeOf(signal);
        });
    }
};

/// A station at its place in the stream.
struct Band::Voice {
    const Station* station = nullptr;
    float amplitude = 0;
    std::uint64_t step = 0; ///< phase per sample, 2^64 being one turn
    Phasor ahead{};         ///< the phasor at sample 0, amplitude 1
};

namespace {

constexpr double turn = 2 * std::numbers::pi;

double fromDecibel(double level) {
    return std::pow(10, level / 20);
}

/// Fraction of a turn as an unsigned 64-bit number.
std::uint64_t phaseStep(double turns) {
    return static_cast<std::uint64_t>((turns - std::floor(turns)) * 18446744073709549568.0);
}

double angle(std::uint64_t phase) {
    return static_cast<double>(phase) * (turn / 0x1p64);
}

double halfWidth(const View& view) {
    return view.real ? view.rate / 4 : view.rate / 2;
}

/// The receiver's filter: flat, then down to nothing over the last twentieth before the edge.
double passed(const View& view, double frequency) {
    const double place = std::abs(frequency - view.centre) / halfWidth(view);
    const double past = std::clamp((place - 0.95) / 0.05, 0.0, 1.0);
    return 0.5 + 0.5 * std::cos(past * turn / 2);
}

double amplitudeIn(const View& view, const Signal& signal) {
    return fromDecibel(signal.level) * passed(view, signal.frequency);
}

Phasor phasorOf(std::uint64_t step) {
    Phasor phasor;
    for (std::size_t i = 0; i < lanes; ++i) {
        phasor.re[i] = static_cast<float>(std::cos(angle(step * i)));
        phasor.im[i] = static_cast<float>(std::sin(angle(step * i)));
    }
    phasor.turnRe = static_cast<float>(std::cos(angle(step * lanes)));
    phasor.turnIm = static_cast<float>(std::sin(angle(step * lanes)));
    return phasor;
}

Phasor turned(const Phasor& from, double by, float amplitude) {
    const float re = amplitude * static_cast<float>(std::cos(by));
    const float im = amplitude * static_cast<float>(std::sin(by));
    Phasor phasor = from;
    for (std::size_t i = 0; i < lanes; ++i) {
        phasor.re[i] = from.re[i] * re - from.im[i] * im;
        phasor.im[i] = from.re[i] * im + from.im[i] * re;
    }
    return phasor;
}

/// Walks through a loop at another rate: calls take(i, run, index, part, step) for every run of
/// output samples between two values of the loop; `part` of the way to the next value is behind,
/// and each sample goes `step` of it.
template <typename Value, typename Take>
void walk(const Loop<Value>& loop, double rate, std::uint64_t position, std::size_t count,
          Take take) {
    const std::uint64_t values = loop.values.size() - 1;
    const std::uint64_t end = values * onePlace;
    const auto step = static_cast<std::uint64_t>(loop.rate / rate * static_cast<double>(onePlace));
    const std::uint64_t shortest = onePlace / step;
    std::uint64_t at = placeInLoop(position, step, values);
    std::uint64_t run = (onePlace - at % onePlace + step - 1) / step;
    for (std::size_t i = 0; i < count;) {
        const std::uint64_t part = at % onePlace;
        run = std::min(run, std::uint64_t{count - i});
        take(i, static_cast<std::size_t>(run), static_cast<std::size_t>(at / onePlace), part, step);
        i += run;
        at += step * run;
        if (at >= end)
            at -= end;
        // Behind the first run each begins within one step of a value.
        run = shortest + (at % onePlace + shortest * step < onePlace ? 1 : 0);
    }
}

void fillEnvelope(float* out, const Loop<float>& loop, double rate, std::uint64_t position,
                  std::size_t count) {
    constexpr float unit = 1.0F / static_cast<float>(onePlace);
    walk(loop, rate, position, count,
         [&](std::size_t i, std::size_t run, std::size_t index, std::uint64_t part,
             std::uint64_t step) {
             const float from = loop.values[index];
             const float slope = (loop.values[index + 1] - from) * unit;
             const float first = from + slope * static_cast<float>(part);
             const float each = slope * static_cast<float>(step);
             for (int k = 0; k < static_cast<int>(run); ++k)
                 out[i + static_cast<std::size_t>(k)] = first + each * static_cast<float>(k);
         });
}

/// `part` of a difference of phases.
std::uint32_t share(std::int64_t difference, std::uint64_t part) {
    return static_cast<std::uint32_t>(difference * static_cast<std::int64_t>(part) >> 32);
}

constexpr std::size_t rampStep = 4;

/// Writes an even ramp, in steps of four: up to three numbers more than asked for.
void ramp(std::uint32_t* out, std::uint32_t first, std::uint32_t each, std::size_t count) {
    using Four = std::uint32_t __attribute__((vector_size(rampStep * sizeof(std::uint32_t))));
    Four value{first, first + each, first + 2 * each, first + 3 * each};
    for (std::size_t k = 0; k < count; k += rampStep) {
        std::memcpy(out + k, &value, sizeof value);
        value += static_cast<std::uint32_t>(rampStep) * each;
    }
}

/// The phases of a modulated carrier; a real stream holds its spectrum upside down.
void fillPhases(std::uint32_t* out, const Loop<std::uint32_t>& loop, const View& view,
                std::uint64_t step, std::uint64_t position, std::size_t count) {
    const std::uint32_t sign = view.real ? 0xFFFFFFFFU : 1;
    walk(loop, view.rate, position, count,
         [&](std::size_t i, std::size_t run, std::size_t index, std::uint64_t part,
             std::uint64_t perSample) {
             const std::uint32_t from = sign * loop.values[index];
             const std::uint32_t to = sign * loop.values[index + 1];
             const auto difference = static_cast<std::int32_t>(to - from);
             const auto carrier = static_cast<std::uint32_t>(step * (position + i) >> 32);
             const auto each =
                 static_cast<std::uint32_t>(step >> 32) + share(difference, perSample);
             ramp(out + i, carrier + from + share(difference, part), each, run);
         });
}

std::size_t wholeLanes(std::size_t count) {
    return (count + lanes - 1) / lanes * lanes;
}

} // namespace

Band::Band(const Scene& scene) : noiseDensity_(std::pow(10, scene.noise / 10)) {
    for (const Signal& signal : scene.signals) {
        stations_.push_back(std::make_unique<Station>());
        stations_.back()->signal = signal;
    }
}

Band::~Band() = default;

void Band::prepare(const View& view) {
    for (const auto& station : stations_)
        if (amplitudeIn(view, station->signal) > 0)
            station->make();
}

double Band::power(const View& view) const {
    double sum = noiseDensity_ * 2 * halfWidth(view);
    for (const auto& station : stations_)
        sum += std::pow(amplitudeIn(view, station->signal), 2);
    return sum;
}

Band::Voice Band::voiceOf(Station& station, const View& view, double amplitude) const {
    const double offset = (station.signal.frequency - view.centre) / view.rate;
    Voice voice;
    voice.station = &station;
    voice.amplitude = static_cast<float>(amplitude);
    voice.step = phaseStep(view.real ? 0.25 - offset : offset);
    voice.ahead = phasorOf(voice.step);
    return voice;
}

void Band::tune(const View& view) {
    current_ = view;
    voices_.clear();
    prepare(view);
    for (const auto& station : stations_)
        if (const double amplitude = amplitudeIn(view, station->signal); amplitude > 0)
            voices_.push_back(voiceOf(*station, view, amplitude));
}

void Band::addNoise(std::uint64_t position, std::size_t count, Block& block) const {
    const double air = noiseDensity_ * halfWidth(current_);
    const auto level = static_cast<float>(std::sqrt(air + std::pow(current_.ownNoise, 2)));
    const std::uint32_t salt = 2 * current_.salt;
    kernels().noise(block.re.data(), noiseFor(position, salt), level, count);
    if (!current_.real)
        kernels().noise(block.im.data(), noiseFor(position, salt + 1), level, count);
}

void Band::addVoice(const Voice& voice, std::uint64_t position, std::size_t count,
                    Block& block) const {
    float* re = block.re.data();
    float* im = current_.real ? nullptr : block.im.data();
    const Station& station = *voice.station;
    if (station.signal.kind == Signal::Kind::fm) {
        alignas(64) std::array<std::uint32_t, blockSize + rampStep> phases;
        fillPhases(phases.data(), station.phase, current_, voice.step, position, count);
        kernels().phases(re, im, phases.data(), voice.amplitude, count);
        return;
    }
    const Phasor phasor = turned(voice.ahead, angle(voice.step * position), voice.amplitude);
    if (station.signal.kind == Signal::Kind::carrier) {
        kernels().carrier(re, im, phasor, count);
        return;
    }
    alignas(64) std::array<float, blockSize> envelope;
    fillEnvelope(envelope.data(), station.envelope, current_.rate, position, count);
    kernels().shaped(re, im, phasor, envelope.data(), count);
}

void Band::generate(const View& view, std::uint64_t position, std::size_t count, Block& block) {
    if (!(view == current_))
        tune(view);
    const std::size_t whole = wholeLanes(count);
    addNoise(position, whole, block);
    for (const Voice& voice : voices_)
        addVoice(voice, position, whole, block);
}

} // namespace feedline::emulator
