// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Demodulator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace feedline::hub::web {

namespace {

/// Pairs that the pass-band's filter takes at a time (20 ms, 10 ms for WFM), and its transform.
/// CW has the longest kernel for its rate: edges 66 Hz wide, where the others have 190 Hz.
struct FilterSize {
    std::size_t hop, transform;
};
constexpr std::array<FilterSize, modes.size()> filters{
    {{480, 1024}, {240, 512}, {240, 512}, {240, 1024}, {480, 1024}, {2400, 2560}}};

PassBand makePassBand(Mode mode) {
    const FilterSize& size = filters[static_cast<std::size_t>(mode)];
    return {static_cast<double>(traits(mode).channelRate), size.hop, size.transform};
}

// Broadcasting: 75 kHz of deviation and 50 us, as everywhere but in the Americas. Speech: 5 kHz,
// and 750 us around 1 kHz.
Modulation modulationOf(Mode mode) {
    return mode == Mode::wfm ? Modulation{75e3, 50e-6, 0} : Modulation{5e3, 750e-6, 1000};
}

// WFM: up to 15 kHz, and the pilot at 19 kHz 70 dB down. The others: up to 4.8 kHz of the 6 that
// half the rate has room for.
Decimator makeDecimator(Mode mode) {
    const auto factor = static_cast<std::size_t>(traits(mode).channelRate / traits(mode).audioRate);
    return mode == Mode::wfm ? Decimator(factor, 16.6e3 / 240e3, 335) : Decimator(factor, 0.22, 96);
}

constexpr double carrierMemory = 0.05; // s
constexpr float fmLoudness = 0.5F;     // full deviation, beside the others' AGC

} // namespace

Demodulator::Demodulator(const Listening& listening)
    : listening_(listening), passBand_(makePassBand(listening.mode)),
      gain_(traits(listening.mode).channelRate),
      discriminator_(traits(listening.mode).channelRate, modulationOf(listening.mode)),
      decimator_(makeDecimator(listening.mode)), squelch_(traits(listening.mode).audioRate) {
    passBand_.setEdges(listening.edges);
    set(listening);
}

void Demodulator::set(const Listening& listening) {
    if (listening.edges != listening_.edges)
        passBand_.setEdges(listening.edges);
    listening_ = listening;
    gain_.setSpeed(listening.gainSpeed);
    gain_.setFixedGain(listening.fixedGain);
    squelch_.setLevel(listening.squelch);
}

double Demodulator::delay() const {
    const double rate = traits(listening_.mode).channelRate;
    const bool linear = listening_.mode != Mode::nfm && listening_.mode != Mode::wfm;
    return (passesAll() ? 0 : passBand_.delay() / rate) + (linear ? GainControl::delay : 0) +
           decimator_.delay() / rate;
}

// The widest pass-band of WFM is the channel itself, whose own edges do; the filter there costs
// more than all the rest.
bool Demodulator::passesAll() const {
    return listening_.mode == Mode::wfm && listening_.edges == traits(Mode::wfm).limits;
}

bool Demodulator::add(std::span<const std::complex<float>> pairs, std::vector<float>& sound) {
    filter(pairs);
    if (filtered_.empty())
        return true;
    measure();
    const std::size_t before = sound.size();
    detected_.clear();
    detect();
    if (traits(listening_.mode).channelRate == traits(listening_.mode).audioRate)
        sound.insert(sound.end(), detected_.begin(), detected_.end());
    else
        decimator_.add(detected_, sound);
    return squelch_.apply(std::span(sound).subspan(before), level_);
}

void Demodulator::filter(std::span<const std::complex<float>> pairs) {
    filtered_.clear();
    if (passesAll())
        filtered_.assign(pairs.begin(), pairs.end());
    else
        passBand_.add(pairs, filtered_);
}

void Demodulator::measure() {
    double power = 0;
    for (const std::complex<float> pair : filtered_)
        power += static_cast<double>(std::norm(pair));
    level_ = 10 * std::log10(power / static_cast<double>(filtered_.size()) + 1e-20);
}

void Demodulator::detect() {
    switch (listening_.mode) {
    case Mode::am:
        return detectEnvelope();
    case Mode::usb:
    case Mode::lsb:
        return detectTone(0);
    case Mode::cw:
        return detectTone(cwPitch);
    case Mode::nfm:
    case Mode::wfm:
        discriminator_.add(filtered_, detected_);
        for (float& sample : detected_)
            sample = std::clamp(fmLoudness * sample, -1.0F, 1.0F);
    }
}

void Demodulator::detectEnvelope() {
    gain_.apply(filtered_);
    const auto share =
        static_cast<float>(1 / (carrierMemory * traits(listening_.mode).channelRate));
    for (const std::complex<float> pair : filtered_) {
        const float amplitude = std::sqrt(std::norm(pair));
        carrier_ += share * (amplitude - carrier_);
        detected_.push_back(amplitude - carrier_);
    }
}

void Demodulator::detectTone(double offset) {
    gain_.apply(filtered_);
    const double step = 2 * std::numbers::pi * offset / traits(listening_.mode).channelRate;
    const std::complex<double> turn = std::polar(1.0, step);
    for (const std::complex<float> pair : filtered_) {
        detected_.push_back(static_cast<float>(pair.real() * oscillator_.real() -
                                               pair.imag() * oscillator_.imag()));
        oscillator_ *= turn;
    }
    oscillator_ /= std::abs(oscillator_);
}

} // namespace feedline::hub::web
