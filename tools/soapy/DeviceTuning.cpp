// SPDX-License-Identifier: MIT
// The device's frequency, its correction, and its sample rate.
#include "tools/soapy/FeedlineDevice.h"
#include "tools/soapy/Log.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace feedline::soapy {

namespace {

constexpr auto element = "RF";

// A hub cuts a channel of any of these out of what it receives.
constexpr double hubLowest = 8000;
constexpr double hubHighest = 3.2e6;
constexpr double hubStep = 200;
constexpr std::array hubRates{48e3,  96e3,  192e3,   250e3,   256e3, 384e3,
                              768e3, 1.0e6, 1.024e6, 2.048e6, 2.4e6, 3.2e6};

std::string hertz(double frequency) {
    return (std::abs(frequency) < 1e18 ? std::to_string(std::llround(frequency))
                                       : std::to_string(frequency)) +
           " Hz";
}

SoapySDR::RangeList asRanges(const std::vector<client::FrequencyRange>& ranges) {
    SoapySDR::RangeList list;
    for (const client::FrequencyRange& range : ranges)
        list.emplace_back(range.lowest, range.highest);
    return list;
}

} // namespace

bool FeedlineDevice::hasFrequencyCorrection(int /*direction*/, size_t /*channel*/) const {
    return true;
}

void FeedlineDevice::setFrequencyCorrection(int /*direction*/, size_t /*channel*/, double value) {
    constexpr double most = 1000;
    const double taken = std::isfinite(value) ? std::clamp(value, -most, most) : 0;
    if (taken != value)
        log(SOAPY_SDR_WARNING, "a correction of " + std::to_string(value) + " ppm is out of range");
    {
        const std::lock_guard lock(mutex_);
        tuning_.setPpm(taken);
        if (asked_ == 0)
            return;
    }
    tune();
}

double FeedlineDevice::getFrequencyCorrection(int /*direction*/, size_t /*channel*/) const {
    const std::lock_guard lock(mutex_);
    return tuning_.ppm();
}

void FeedlineDevice::setFrequency(int direction, size_t channel, double frequency,
                                  const SoapySDR::Kwargs& args) {
    setFrequency(direction, channel, element, frequency, args);
}

void FeedlineDevice::setFrequency(int /*direction*/, size_t /*channel*/, const std::string& name,
                                  double frequency, const SoapySDR::Kwargs& /*args*/) {
    if (name != element) {
        log(SOAPY_SDR_WARNING, "there is no frequency element " + name + "; RF is the only one");
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        asked_ = frequency;
    }
    tune();
}

void FeedlineDevice::tune() {
    const client::ReceiverKind& kind = link_.kind();
    Tuning::Result result{};
    double asked = 0;
    {
        const std::lock_guard lock(mutex_);
        asked = asked_;
        result = tuning_.tune(kind, asked);
        frequency_ = result.frequency;
    }
    if (result.clamped)
        log(SOAPY_SDR_WARNING,
            hertz(asked) + " is out of the receiver's range; tuning to " + hertz(result.frequency));
    link_.setFrequency(result.receiver);
}

double FeedlineDevice::getFrequency(int direction, size_t channel) const {
    return getFrequency(direction, channel, element);
}

// A hub knows better: somebody else may have a say.
double FeedlineDevice::getFrequency(int /*direction*/, size_t /*channel*/,
                                    const std::string& /*name*/) const {
    const auto facts = link_.facts();
    const std::lock_guard lock(mutex_);
    if (facts && facts->hubFrequency) {
        const double shown = tuning_.shown(*facts->hubFrequency);
        return std::abs(shown - frequency_) < 1 ? frequency_ : shown;
    }
    return frequency_;
}

std::vector<std::string> FeedlineDevice::listFrequencies(int /*direction*/,
                                                         size_t /*channel*/) const {
    return {element};
}

SoapySDR::RangeList FeedlineDevice::getFrequencyRange(int direction, size_t channel) const {
    return getFrequencyRange(direction, channel, element);
}

SoapySDR::RangeList FeedlineDevice::getFrequencyRange(int /*direction*/, size_t /*channel*/,
                                                      const std::string& /*name*/) const {
    const client::ReceiverKind& kind = link_.kind();
    const std::lock_guard lock(mutex_);
    return asRanges(tuning_.ranges(kind));
}

void FeedlineDevice::setSampleRate(int /*direction*/, size_t /*channel*/, double rate) {
    link_.setRate(rate);
}

double FeedlineDevice::getSampleRate(int /*direction*/, size_t /*channel*/) const {
    return link_.rate();
}

bool FeedlineDevice::isHub() const {
    const auto facts = link_.facts();
    return facts && facts->isHub();
}

std::vector<double> FeedlineDevice::listSampleRates(int /*direction*/, size_t /*channel*/) const {
    std::vector<double> rates{link_.rate()};
    if (!isHub())
        return rates;
    rates.insert(rates.end(), hubRates.begin(), hubRates.end());
    std::sort(rates.begin(), rates.end());
    rates.erase(std::unique(rates.begin(), rates.end()), rates.end());
    return rates;
}

SoapySDR::RangeList FeedlineDevice::getSampleRateRange(int /*direction*/,
                                                       size_t /*channel*/) const {
    const double rate = link_.rate();
    if (isHub())
        return {SoapySDR::Range(hubLowest, std::max(hubHighest, rate), hubStep)};
    return {SoapySDR::Range(rate, rate)};
}

} // namespace feedline::soapy
