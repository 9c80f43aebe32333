// SPDX-License-Identifier: MIT
// What SoapySDR's loader finds: driver=feedline.
#include "tools/soapy/Arguments.h"
#include "tools/soapy/FeedlineDevice.h"
#include "tools/soapy/Find.h"

#include <SoapySDR/Registry.hpp>

namespace {

SoapySDR::Device* make(const SoapySDR::Kwargs& given) {
    return new feedline::soapy::FeedlineDevice(feedline::soapy::readArguments(given));
}

const SoapySDR::Registry registration("feedline", &feedline::soapy::findServers, &make,
                                      SOAPY_SDR_ABI_VERSION);

} // namespace
