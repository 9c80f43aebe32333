// SPDX-License-Identifier: MIT
#include "emulator/receivers/Feed.h"

#include "emulator/receivers/Packing.h"

#include <algorithm>
#include <array>

namespace feedline::emulator {

std::size_t samplesIn(Format format, std::size_t bytes) {
    switch (format) {
    case Format::pairs:
        return bytes / 4;
    case Format::samples:
        return bytes / 2;
    default:
        return bytes / 12 * 8;
    }
}

Feed::Feed(Content& from) : content_(from) {}

std::size_t Feed::encode(const StreamSettings& settings, std::size_t count, std::uint8_t* out) {
    const auto gain = static_cast<float>(settings.gain);
    if (settings.format == Format::pairs) {
        alignas(64) std::array<std::int16_t, 2 * blockSize> pairs;
        kernels().pairs(pairs.data(), block_, gain, count);
        storeWords(pairs.data(), 2 * count, out);
        return 4 * count;
    }
    alignas(64) std::array<std::uint16_t, blockSize> samples;
    kernels().samples(samples.data(), block_, gain, count);
    if (settings.format == Format::packed) {
        packSamples(samples.data(), count, out);
        return count / 2 * 3;
    }
    storeWords(samples.data(), count, out);
    return 2 * count;
}

void Feed::fill(const StreamSettings& settings, std::uint64_t position, std::uint8_t* out,
                std::size_t bytes) {
    std::uint8_t* const end = out + bytes;
    for (std::size_t left = samplesIn(settings.format, bytes); left > 0;) {
        const std::size_t count = std::min(left, blockSize);
        content_.generate(settings.view, position, count, block_);
        out += encode(settings, count, out);
        position += count;
        left -= count;
    }
    std::fill(out, end, std::uint8_t{0});
}

} // namespace feedline::emulator
