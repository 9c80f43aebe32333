// SPDX-License-Identifier: MIT
#include "emulator/receivers/AirspyReceiver.h"

#include <algorithm>
#include <cmath>

namespace feedline::emulator {
namespace {

enum Code : std::uint8_t {
    writeClock = 2,
    readClock = 3,
    writeTuner = 4,
    readTuner = 5,
    eraseFlash = 6,
    writeFlash = 7,
    readFlash = 8,
    readBoard = 9,
    readVersion = 10,
    readSerial = 11,
    setRate = 12,
    setFrequency = 13,
    setLnaGain = 14,
    setMixerGain = 15,
    setVgaGain = 16,
    setLnaAgc = 17,
    setMixerAgc = 18,
    writePin = 21,
    readPin = 22,
    writeDirection = 23,
    readDirection = 24,
    getRates = 25,
    setPacking = 26,
    eraseSector = 27,
};

constexpr std::uint64_t firstSerial = 0x644064DC2F4A9BCD;
constexpr std::size_t flashSize = std::size_t{1} << 20;
constexpr std::size_t sectorSize = std::size_t{1} << 16;
constexpr std::uint8_t biasPin = 45;
/// The noise of the converter: enough to keep 12 bits busy.
constexpr double ownNoise = 2.5e-4;
/// The level at which an AGC rests.
constexpr double agcAim = 0.2;

constexpr double lnaStep = 2.2;
constexpr double mixerStep = 1.2;
constexpr double vgaStep = 3.0;

/// Raises a stage as far as the level allows.
void settle(AirspyGains& gains, unsigned AirspyGains::*stage, unsigned most, double level) {
    gains.*stage = most;
    while (gains.*stage > 0 && level * std::pow(10, gains.decibel() / 20) > agcAim)
        --(gains.*stage);
}

} // namespace

double AirspyGains::decibel() const {
    const auto above = [](unsigned value) {
        return static_cast<double>(value) - 8;
    };
    return above(lna) * lnaStep + above(mixer) * mixerStep + above(vga) * vgaStep;
}

AirspyReceiver::AirspyReceiver(unsigned place, std::vector<std::uint32_t> list, const Content& from)
    : Receiver(place, firstSerial,
               {0x1D50, 0x60A1, "Feedline", "Emulated AirSpy", "AIRSPY SN:", 1}),
      rates_(std::move(list)), content_(from), flash_(flashSize, 0xFF) {}

void AirspyReceiver::powerUp() {
    Receiver::powerUp();
    hertz_ = 0;
    rateIndex_ = 0;
    packing_ = false;
    set_ = {};
    lnaAgc_ = mixerAgc_ = false;
    clock_ = tuner_ = pins_ = directions_ = {};
}

int AirspyReceiver::answer(const Request& request) {
    switch (request.code) {
    case eraseFlash:
    case writeFlash:
    case readFlash:
    case eraseSector:
        return flashRequest(request);
    default:
        return Receiver::answer(request);
    }
}

int AirspyReceiver::take(const Request& request) {
    const auto place = static_cast<std::uint8_t>(request.index);
    const auto value = static_cast<std::uint8_t>(request.value);
    switch (request.code) {
    case setFrequency:
        if (request.length < 4)
            return stalled;
        hertz_ = littleEndian(request.data);
        return 4;
    case writeClock:
        clock_[place] = value;
        return 0;
    case writeTuner:
        tuner_[place] = value;
        return 0;
    case writePin:
        pins_[place] = value;
        return 0;
    case writeDirection:
        directions_[place] = value;
        return 0;
    default:
        return stalled;
    }
}

int AirspyReceiver::tell(const Request& request) {
    const auto place = static_cast<std::uint8_t>(request.index);
    switch (request.code) {
    case readClock:
        return give(request, &clock_[place], 1);
    case readTuner:
        return give(request, &tuner_[place], 1);
    case readPin:
        return give(request, &pins_[place], 1);
    case readDirection:
        return give(request, &directions_[place], 1);
    case readBoard:
        return give(request, "\0", 1);
    case readVersion:
        return give(request, std::string("AirSpy EMULATED v1.0.0") + '\0');
    case readSerial:
        return giveWords(request,
                         {0x6906002B, 0x00000030, 0, 0, static_cast<std::uint32_t>(serial() >> 32),
                          static_cast<std::uint32_t>(serial())});
    case getRates:
        return giveRates(request, rates_);
    default:
        return tellSetting(request);
    }
}

/// The settings that are made with an IN request, whose one byte says that they took effect.
int AirspyReceiver::tellSetting(const Request& request) {
    switch (request.code) {
    case setRate:
        return selectRate(request);
    case setLnaGain:
        return setGain(request, set_.lna, AirspyGains::mostLna);
    case setMixerGain:
        return setGain(request, set_.mixer, AirspyGains::mostMixer);
    case setVgaGain:
        return setGain(request, set_.vga, AirspyGains::mostVga);
    case setLnaAgc:
        lnaAgc_ = request.index != 0;
        return give(request, "\1", 1);
    case setMixerAgc:
        mixerAgc_ = request.index != 0;
        return give(request, "\1", 1);
    case setPacking:
        packing_ = request.index != 0;
        return give(request, "\1", 1);
    default:
        return stalled;
    }
}

int AirspyReceiver::setGain(const Request& request, unsigned& stage, unsigned most) {
    stage = std::min<unsigned>(request.index, most);
    return give(request, "\1", 1);
}

/// By place in the list, or by the rate of the real stream in kHz.
int AirspyReceiver::selectRate(const Request& request) {
    unsigned index = request.index;
    if (index >= rates_.size()) {
        const auto found = std::find_if(rates_.begin(), rates_.end(), [&](std::uint32_t rate) {
            return rate / 500 == request.index;
        });
        if (found == rates_.end())
            return stalled;
        index = static_cast<unsigned>(found - rates_.begin());
    }
    rateIndex_ = index;
    return give(request, "\1", 1);
}

int AirspyReceiver::flashRequest(const Request& request) {
    if (request.code == eraseFlash) {
        std::fill(flash_.begin(), flash_.end(), std::uint8_t{0xFF});
        return 0;
    }
    const std::size_t address = request.code == eraseSector
                                    ? request.value * sectorSize
                                    : std::size_t{request.value} << 16 | request.index;
    const std::size_t length = request.code == eraseSector ? sectorSize : request.length;
    if (address + length > flash_.size())
        return stalled;
    const auto start = flash_.begin() + static_cast<std::ptrdiff_t>(address);
    if (request.code == readFlash)
        return give(request, &*start, length);
    if (request.code == eraseSector)
        std::fill_n(start, length, std::uint8_t{0xFF});
    else
        std::copy_n(request.data, length, start);
    return request.length;
}

std::uint32_t AirspyReceiver::rate() const {
    return rateIndex_ < rates_.size() ? rates_[rateIndex_] : 2500000;
}

View AirspyReceiver::view() const {
    View view;
    view.centre = hertz_;
    view.rate = 2.0 * rate();
    view.real = true;
    view.salt = 64 + number();
    return view;
}

AirspyGains AirspyReceiver::gains() const {
    AirspyGains gains = set_;
    const double level = lnaAgc_ || mixerAgc_ ? std::sqrt(content_.power(view())) : 0;
    if (lnaAgc_)
        settle(gains, &AirspyGains::lna, AirspyGains::mostLna, level);
    if (mixerAgc_)
        settle(gains, &AirspyGains::mixer, AirspyGains::mostMixer, level);
    return gains;
}

StreamSettings AirspyReceiver::settings() const {
    StreamSettings settings;
    settings.view = view();
    settings.gain = std::pow(10, gains().decibel() / 20);
    settings.view.ownNoise = ownNoise / settings.gain;
    settings.format = packing_ ? Format::packed : Format::samples;
    return settings;
}

State AirspyReceiver::state() const {
    const AirspyGains effective = gains();
    return {{"receiver-mode", yes(streaming())},
            {"frequency", std::to_string(hertz_)},
            {"rate-index", std::to_string(rateIndex_)},
            {"rate", std::to_string(rate())},
            {"lna-gain", std::to_string(set_.lna)},
            {"mixer-gain", std::to_string(set_.mixer)},
            {"vga-gain", std::to_string(set_.vga)},
            {"lna-agc", yes(lnaAgc_)},
            {"mixer-agc", yes(mixerAgc_)},
            {"lna-gain-now", std::to_string(effective.lna)},
            {"mixer-gain-now", std::to_string(effective.mixer)},
            {"bias", yes(pins_[biasPin] != 0)},
            {"packing", yes(packing_)}};
}

} // namespace feedline::emulator
