// SPDX-License-Identifier: MIT
#include "tools/soapy/Arguments.h"

#include "tools/soapy/Log.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace feedline::soapy {

namespace {

constexpr std::array<std::string_view, 9> ownKeys{"host",   "port",   "bind", "rate",   "ppm",
                                                  "offset", "buffer", "wait", "give_up"};
// What programs and the library itself hand to every module.
constexpr std::array<std::string_view, 4> everybodysKeys{"driver", "label",
                                                         "soapy_remote_no_deeper", "remote:driver"};

template <typename Keys>
bool contains(const Keys& keys, const std::string& key) {
    return std::ranges::find(keys, key) != keys.end();
}

class Reader {
public:
    explicit Reader(const SoapySDR::Kwargs& given) : given_(given) {}

    const std::string* text(const char* key) const {
        const auto found = given_.find(key);
        return found == given_.end() || found->second.empty() ? nullptr : &found->second;
    }

    std::optional<double> number(const char* key, double lowest, double highest) const {
        const std::string* const written = text(key);
        if (written == nullptr)
            return std::nullopt;
        const auto value = readNumber(*written);
        if (value && *value >= lowest && *value <= highest)
            return value;
        log(SOAPY_SDR_ERROR, std::string(key) + "=" + *written + " is not understood and left out");
        return std::nullopt;
    }

private:
    const SoapySDR::Kwargs& given_;
};

void readEndpoint(const Reader& reader, client::Endpoint& endpoint) {
    if (const std::string* host = reader.text("host")) {
        const auto colon = host->find(':');
        endpoint.host = host->substr(0, colon);
        if (colon != std::string::npos) {
            const SoapySDR::Kwargs behind{{"port", host->substr(colon + 1)}};
            endpoint.port = static_cast<std::uint16_t>(
                Reader(behind).number("port", 1, 65535).value_or(endpoint.port));
        }
    }
    endpoint.port =
        static_cast<std::uint16_t>(reader.number("port", 1, 65535).value_or(endpoint.port));
    if (const std::string* bind = reader.text("bind"))
        endpoint.bind = *bind;
}

} // namespace

std::string Arguments::label() const {
    const std::string label = "Feedline " + endpoint.server();
    return endpoint.bind.empty() ? label : label + " from " + endpoint.bind;
}

std::string Arguments::datagramAddress() const {
    return endpoint.bind.empty() ? "0.0.0.0" : endpoint.bind;
}

Arguments readArguments(const SoapySDR::Kwargs& given) {
    const Reader reader(given);
    Arguments arguments;
    readEndpoint(reader, arguments.endpoint);
    arguments.rate = reader.number("rate", 1000, 100e6);
    arguments.ppm = reader.number("ppm", -1000, 1000).value_or(arguments.ppm);
    arguments.offset = reader.number("offset", -1e12, 1e12).value_or(arguments.offset);
    arguments.buffer = static_cast<int>(
        reader.number("buffer", 1, 1 << 30).value_or(static_cast<double>(arguments.buffer)));
    arguments.wait = client::Seconds(reader.number("wait", 0, 3600).value_or(10));
    arguments.giveUp = client::Seconds(reader.number("give_up", 0, 1e9).value_or(0));
    return arguments;
}

bool areOurs(const SoapySDR::Kwargs& given) {
    const auto driver = given.find("driver");
    if (driver != given.end())
        return driver->second == "feedline";
    return std::ranges::all_of(given, [](const auto& pair) {
        return contains(ownKeys, pair.first) || contains(everybodysKeys, pair.first);
    });
}

SoapySDR::Kwargs ownOf(const SoapySDR::Kwargs& given) {
    SoapySDR::Kwargs own;
    for (const auto& pair : given)
        if (contains(ownKeys, pair.first))
            own.insert(pair);
    return own;
}

std::optional<double> readNumber(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || !std::isfinite(value))
        return std::nullopt;
    const std::string_view unit(rest, static_cast<std::size_t>(end - rest));
    if (unit.empty())
        return value;
    if (unit == "k" || unit == "K")
        return value * 1e3;
    return unit == "M" ? std::optional(value * 1e6)
                       : (unit == "G" ? std::optional(value * 1e9) : std::nullopt);
}

} // namespace feedline::soapy
