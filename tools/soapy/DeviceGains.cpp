// SPDX-License-Identifier: MIT
// The device's gains. The server's protocol has none; those of an AirSpy can be set where its
// server is on this machine and on a bus. Otherwise some programs cannot live with an empty list:
// there is one element that cannot be moved.
#include "tools/gains/AirspyGains.h"
#include "tools/soapy/FeedlineDevice.h"
#include "tools/soapy/Log.h"

#include <SoapySDR/Constants.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace feedline::soapy {

namespace {

constexpr auto fixedGain = "GAIN";
constexpr std::chrono::milliseconds answerLimit{1000};

struct Element {
    const char* name;
    std::size_t place; ///< in gains::table
};
constexpr std::array elements{Element{"LNA", gains::placeOf("lna")},
                              Element{"MIX", gains::placeOf("mixer")},
                              Element{"VGA", gains::placeOf("vga")}};
constexpr std::array agcs{gains::placeOf("lna-agc"), gains::placeOf("mixer-agc")};

const Element* elementCalled(const std::string& name) {
    const auto* const found = std::find_if(elements.begin(), elements.end(),
                                           [&](const Element& each) { return each.name == name; });
    return found != elements.end() ? found : nullptr;
}

} // namespace

// Looked for with the first question: many devices are made only to be listed.
gains::AirspyGains& FeedlineDevice::airspyGains() const {
    const std::lock_guard lock(gainsMutex_);
    if (!gains_)
        gains_ = std::make_unique<gains::AirspyGains>(arguments_.endpoint.host,
                                                      arguments_.endpoint.port, nullptr);
    return *gains_;
}

// Once there have been elements there are always: programs ask for the list only once.
bool FeedlineDevice::hasGains() const {
    if (hadGains_)
        return true;
    airspyGains().settle(answerLimit);
    if (airspyGains().values())
        hadGains_ = true;
    return hadGains_;
}

std::int32_t FeedlineDevice::gainAt(std::size_t place) const {
    const auto values = airspyGains().values();
    return values ? values->at(place) : 0;
}

void FeedlineDevice::setGainAt(std::size_t place, std::int32_t value) {
    if (!airspyGains().set(place, value))
        log(SOAPY_SDR_WARNING, "the gain is not set: the server's controls are not there");
    airspyGains().settle(answerLimit);
}

std::vector<std::string> FeedlineDevice::listGains(int direction, size_t /*channel*/) const {
    if (direction != SOAPY_SDR_RX)
        return {};
    if (!hasGains())
        return {fixedGain};
    std::vector<std::string> names;
    names.reserve(elements.size());
    for (const Element& element : elements)
        names.emplace_back(element.name);
    return names;
}

bool FeedlineDevice::hasGainMode(int direction, size_t /*channel*/) const {
    return direction == SOAPY_SDR_RX && hasGains();
}

void FeedlineDevice::setGainMode(int direction, size_t channel, bool automatic) {
    if (!hasGainMode(direction, channel))
        return;
    for (const std::size_t place : agcs)
        setGainAt(place, automatic ? 1 : 0);
}

bool FeedlineDevice::getGainMode(int direction, size_t channel) const {
    return hasGainMode(direction, channel) &&
           std::all_of(agcs.begin(), agcs.end(),
                       [this](std::size_t place) { return gainAt(place) != 0; });
}

// Spread over the elements as SoapySDR does it, those next to the antenna first.
void FeedlineDevice::setGain(int direction, size_t channel, double value) {
    if (hasGains())
        Device::setGain(direction, channel, value);
    else
        setGain(direction, channel, fixedGain, value);
}

void FeedlineDevice::setGain(int /*direction*/, size_t /*channel*/, const std::string& name,
                             double value) {
    const Element* const element = hasGains() ? elementCalled(name) : nullptr;
    if (element != nullptr && std::isfinite(value))
        setGainAt(element->place,
                  static_cast<std::int32_t>(std::lround(std::clamp(value, -100.0, 100.0))));
    else if (value != 0)
        log(SOAPY_SDR_INFO, "the receiver's gain is set at its server");
}

double FeedlineDevice::getGain(int direction, size_t channel) const {
    return hasGains() ? Device::getGain(direction, channel) : 0;
}

double FeedlineDevice::getGain(int /*direction*/, size_t /*channel*/,
                               const std::string& name) const {
    const Element* const element = hasGains() ? elementCalled(name) : nullptr;
    return element != nullptr ? gainAt(element->place) : 0;
}

SoapySDR::Range FeedlineDevice::getGainRange(int direction, size_t channel) const {
    return hasGains() ? Device::getGainRange(direction, channel) : SoapySDR::Range(0, 0);
}

// The steps of the receiver, which are no decibels.
SoapySDR::Range FeedlineDevice::getGainRange(int /*direction*/, size_t /*channel*/,
                                             const std::string& name) const {
    const Element* const element = hasGains() ? elementCalled(name) : nullptr;
    return element != nullptr ? SoapySDR::Range(0, gains::table.at(element->place).highest, 1)
                              : SoapySDR::Range(0, 0);
}

} // namespace feedline::soapy
