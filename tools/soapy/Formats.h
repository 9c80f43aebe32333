// SPDX-License-Identifier: MIT
// The stream formats: what arrives, and what it is turned into.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace feedline::soapy {

enum class Format {
    cs16, ///< as received, 16-bit signed I and Q
    cf32, ///< 32-bit float I and Q, 1.0 for 32768
    cs8,  ///< 8-bit signed I and Q, the upper half, rounded
};

/// By SoapySDR's name: "CS16", "CF32" or "CS8". Nothing for any other.
std::optional<Format> formatNamed(const std::string& name);
const std::vector<std::string>& formatNames();

/// Bytes of one IQ pair.
std::size_t sizeOfPair(Format format);

/// Writes samples.size() entries of the format.
void convert(Format format, std::span<const std::int16_t> samples, void* to);

} // namespace feedline::soapy
