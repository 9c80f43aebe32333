// SPDX-License-Identifier: MIT
#include "tools/soapy/Formats.h"

#include <SoapySDR/Formats.hpp>
#include <algorithm>

namespace feedline::soapy {

std::optional<Format> formatNamed(const std::string& name) {
    if (name == SOAPY_SDR_CS16)
        return Format::cs16;
    if (name == SOAPY_SDR_CF32)
        return Format::cf32;
    return name == SOAPY_SDR_CS8 ? std::optional(Format::cs8) : std::nullopt;
}

const std::vector<std::string>& formatNames() {
    static const std::vector<std::string> names{SOAPY_SDR_CS16, SOAPY_SDR_CF32, SOAPY_SDR_CS8};
    return names;
}

std::size_t sizeOfPair(Format format) {
    switch (format) {
    case Format::cf32:
        return 2 * sizeof(float);
    case Format::cs8:
        return 2 * sizeof(std::int8_t);
    case Format::cs16:
        break;
    }
    return 2 * sizeof(std::int16_t);
}

void convert(Format format, std::span<const std::int16_t> samples, void* to) {
    constexpr float fullScale = 32768.0F;
    switch (format) {
    case Format::cs16:
        std::ranges::copy(samples, static_cast<std::int16_t*>(to));
        break;
    case Format::cf32:
        std::ranges::transform(samples, static_cast<float*>(to), [](std::int16_t sample) {
            return static_cast<float>(sample) * (1.0F / fullScale);
        });
        break;
    case Format::cs8:
        std::ranges::transform(samples, static_cast<std::int8_t*>(to), [](std::int16_t sample) {
            return static_cast<std::int8_t>(std::min((sample + 128) >> 8, 127));
        });
        break;
    }
}

} // namespace feedline::soapy
