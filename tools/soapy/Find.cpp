// SPDX-License-Identifier: MIT
#include "tools/soapy/Find.h"

#include "tools/soapy/Arguments.h"
#include "tools/soapy/ListeningPorts.h"

#include <array>

namespace feedline::soapy {

namespace {

constexpr std::array<std::uint16_t, 2> usualPorts{50000, 50001}; // a server's, a hub's

SoapySDR::Kwargs describe(SoapySDR::Kwargs pairs) {
    const Arguments arguments = readArguments(pairs);
    pairs["host"] = arguments.endpoint.host;
    pairs["port"] = std::to_string(arguments.endpoint.port);
    pairs["label"] = arguments.label();
    return pairs;
}

} // namespace

SoapySDR::KwargsList findServers(const SoapySDR::Kwargs& given) {
    if (!areOurs(given))
        return {};
    const SoapySDR::Kwargs own = ownOf(given);
    if (own.contains("host") || own.contains("port"))
        return {describe(own)};
    SoapySDR::KwargsList found;
    for (const std::uint16_t port : usualPorts) {
        const auto address = listeningAddress(port);
        if (!address)
            continue;
        SoapySDR::Kwargs pairs = own;
        pairs["host"] = *address;
        pairs["port"] = std::to_string(port);
        found.push_back(describe(pairs));
    }
    return found;
}

} // namespace feedline::soapy
