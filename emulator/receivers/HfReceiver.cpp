// SPDX-License-Identifier: MIT
#include "emulator/receivers/HfReceiver.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace feedline::emulator {
namespace {

enum Code : std::uint8_t {
    setFrequency = 2,
    getRates = 3,
    setRate = 4,
    readConfiguration = 5,
    writeConfiguration = 6,
    readSerial = 7,
    setUserOutput = 8,
    readVersion = 9,
    setAgc = 10,
    setAgcThreshold = 11,
    setAttenuator = 12,
    setLna = 13,
    getArchitectures = 14,
    getFilterGain = 15,
};

constexpr std::uint64_t firstSerial = 0x3B52EB5DAC35398D;
constexpr std::uint32_t defaultRate = 768000;
constexpr unsigned mostAttenuation = 8;
/// The noise of the converter, as a standard deviation of each part of a pair.
constexpr double ownNoise = 1.5e-5;
/// The library tunes this much higher and moves the stream back, so that the middle of the band is
/// clear of the receiver's zero frequency.
constexpr double libraryShift = 5000;

} // namespace

HfReceiver::HfReceiver(unsigned place, std::vector<HfRate> list, const Content& from)
    : Receiver(place, firstSerial, {0x03EB, 0x800C, "Feedline", "Emulated HF+", "AIRSPYHF SN:", 2}),
      rates_(std::move(list)), content_(from) {
    flash_.fill(0xFF);
}

void HfReceiver::powerUp() {
    Receiver::powerUp();
    kilohertz_ = 0;
    rateIndex_ = 0;
    agc_ = true;
    agcThreshold_ = false;
    attenuator_ = 0;
    lna_ = false;
    outputs_ = {};
}

int HfReceiver::take(const Request& request) {
    switch (request.code) {
    case setFrequency:
        if (request.length < 4)
            return stalled;
        kilohertz_ = bigEndian(request.data);
        return 4;
    case setRate:
        return selectRate(request.index);
    case writeConfiguration:
        std::memcpy(flash_.data(), request.data,
                    std::min<std::size_t>(request.length, flash_.size()));
        return request.length;
    case setUserOutput:
        return setOutput(request.value, request.index);
    case setAgc:
        agc_ = request.value != 0;
        return 0;
    case setAgcThreshold:
        agcThreshold_ = request.value != 0;
        return 0;
    case setAttenuator:
        attenuator_ = std::min<unsigned>(request.value, mostAttenuation);
        return 0;
    case setLna:
        lna_ = request.value != 0;
        return 0;
    default:
        return stalled;
    }
}

int HfReceiver::tell(const Request& request) {
    std::vector<std::uint32_t> list;
    switch (request.code) {
    case getRates:
        for (const HfRate& rate : rates_)
            list.push_back(rate.rate);
        return giveRates(request, list);
    case readConfiguration:
        return give(request, flash_.data(), flash_.size());
    case readSerial:
        return giveWords(request, {0x00010001, static_cast<std::uint32_t>(serial() >> 32),
                                   static_cast<std::uint32_t>(serial()), 0, 0});
    case readVersion:
        return give(request, std::string("R1.0.0-EMULATED") + '\0');
    case getArchitectures:
        return giveArchitectures(request);
    case getFilterGain:
        return give(request, "\0", 1);
    default:
        return stalled;
    }
}

int HfReceiver::selectRate(unsigned index) {
    if (index >= std::max<std::size_t>(rates_.size(), 1))
        return stalled;
    rateIndex_ = index;
    return 0;
}

int HfReceiver::setOutput(unsigned pin, unsigned value) {
    if (pin >= outputs_.size())
        return stalled;
    outputs_[pin] = value != 0;
    return 0;
}

/// The library asks for four bytes a rate, into a buffer with room for one each: never more than
/// the number of rates.
int HfReceiver::giveArchitectures(const Request& request) const {
    std::vector<std::uint8_t> list;
    for (const HfRate& rate : rates_)
        list.push_back(rate.lowIf ? 1 : 0);
    return give(request, list.data(), std::min<std::size_t>(list.size(), request.index));
}

View HfReceiver::view() const {
    const HfRate rate = rates_.empty() ? HfRate{defaultRate, false} : rates_[rateIndex_];
    View view;
    view.centre = kilohertz_ * 1000.0;
    view.rate = rate.rate;
    view.shift = rate.lowIf ? 0 : libraryShift;
    view.salt = number();
    return view;
}

/// Steps of 6 dB. The AGC takes as many as keep the band below half (low threshold: a quarter) of
/// full scale.
unsigned HfReceiver::attenuation() const {
    if (!agc_)
        return attenuator_;
    const double aim = agcThreshold_ ? 0.5 : 0.25;
    const double level = std::sqrt(content_.power(view()));
    const double steps = std::ceil(std::log2(std::max(level / aim, 1.0)));
    return std::min(static_cast<unsigned>(steps), mostAttenuation);
}

StreamSettings HfReceiver::settings() const {
    StreamSettings settings;
    settings.view = view();
    settings.gain = std::pow(10, -6.0 * attenuation() / 20);
    // The preamplifier's gain is taken back in the receiver: what it changes is the noise.
    settings.view.ownNoise = ownNoise * (lna_ ? 0.5 : 1) / settings.gain;
    settings.format = Format::pairs;
    return settings;
}

State HfReceiver::state() const {
    std::string pins;
    for (bool output : outputs_)
        pins += yes(output);
    return {{"receiver-mode", yes(streaming())},
            {"frequency", std::to_string(std::uint64_t{kilohertz_} * 1000)},
            {"rate-index", std::to_string(rateIndex_)},
            {"rate", std::to_string(static_cast<unsigned>(view().rate))},
            {"agc", yes(agc_)},
            {"agc-threshold", yes(agcThreshold_)},
            {"attenuator", std::to_string(attenuator_)},
            {"attenuation", std::to_string(6 * attenuation())},
            {"lna", yes(lna_)},
            {"outputs", pins}};
}

} // namespace feedline::emulator
