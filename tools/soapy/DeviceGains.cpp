// SPDX-License-Identifier: MIT
// The device's gains. A server offers its clients none, and some programs cannot live with an empty
// list: there is one element that cannot be moved.
#include "tools/soapy/FeedlineDevice.h"
#include "tools/soapy/Log.h"

#include <SoapySDR/Constants.h>

namespace feedline::soapy {

namespace {

constexpr auto fixedGain = "GAIN";

} // namespace

std::vector<std::string> FeedlineDevice::listGains(int direction, size_t /*channel*/) const {
    return direction == SOAPY_SDR_RX ? std::vector<std::string>{fixedGain}
                                     : std::vector<std::string>{};
}

void FeedlineDevice::setGain(int direction, size_t channel, double value) {
    setGain(direction, channel, fixedGain, value);
}

void FeedlineDevice::setGain(int /*direction*/, size_t /*channel*/, const std::string& /*name*/,
                             double value) {
    if (value != 0)
        log(SOAPY_SDR_INFO, "the receiver's gain is set at its server");
}

double FeedlineDevice::getGain(int direction, size_t channel) const {
    return getGain(direction, channel, fixedGain);
}

double FeedlineDevice::getGain(int /*direction*/, size_t /*channel*/,
                               const std::string& /*name*/) const {
    return 0;
}

SoapySDR::Range FeedlineDevice::getGainRange(int direction, size_t channel) const {
    return getGainRange(direction, channel, fixedGain);
}

SoapySDR::Range FeedlineDevice::getGainRange(int /*direction*/, size_t /*channel*/,
                                             const std::string& /*name*/) const {
    return {0, 0};
}

} // namespace feedline::soapy
