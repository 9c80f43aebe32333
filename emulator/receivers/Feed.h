// SPDX-License-Identifier: MIT
// Turns content into the bytes of a receiver's bulk endpoint.
#pragma once

#include "emulator/signals/Content.h"

#include <cstdint>
#include <memory>

namespace feedline::emulator {

enum class Format {
    pairs,   ///< signed 16-bit pairs, imaginary part first
    samples, ///< unsigned 12-bit samples in 16 bits
    packed,  ///< the same, eight in twelve bytes
};

/// How many samples (pairs: pairs) a transfer of so many bytes holds.
std::size_t samplesIn(Format format, std::size_t bytes);

struct StreamSettings {
    View view;
    Format format = Format::pairs;
    double gain = 1; ///< as a factor
};

/// One thread at a time.
class Feed {
public:
    explicit Feed(Content& content);

    /// Fills a transfer with the samples from `position` on. What is left over behind the last
    /// whole sample (packed: eight samples) is zero.
    void fill(const StreamSettings& settings, std::uint64_t position, std::uint8_t* out,
              std::size_t bytes);

private:
    std::size_t encode(const StreamSettings& settings, std::size_t count, std::uint8_t* out);

    Content& content_;
    Block block_{};
};

} // namespace feedline::emulator
