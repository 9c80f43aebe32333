// SPDX-License-Identifier: MIT
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <array>
#include <bit>

namespace feedline {
namespace {

/// Pairs that are converted together: so few that the UDP thread hardly waits for them, and enough
/// for the compiler to make vectors of them.
constexpr int groupPairs = 16;

/// Full scale 1.0 becomes 32767, towards zero. There is no clamping: what does not fit keeps its
/// low 16 bits, and what does not fit 32 bits either, NaN included, becomes 0.
std::int16_t toSample(float value) {
    constexpr double fullScale = 32767.0;
    constexpr float largest = 65538.0F; // The next float's product is beyond 32 bits.
    // What is too large becomes 0 in its bits, where NaN is the largest of all, and by a mask: of a
    // choice compilers make a branch, and then no vectors.
    auto bits = std::bit_cast<std::int32_t>(value);
    const bool fits = (bits & 0x7FFFFFFF) <= std::bit_cast<std::int32_t>(largest);
    bits &= -static_cast<std::int32_t>(fits);
    const double product = static_cast<double>(std::bit_cast<float>(bits)) * fullScale;
    return static_cast<std::int16_t>(static_cast<std::int32_t>(product));
}

template <std::size_t count>
std::array<SamplePair, count> toPairs(const airspyhf_complex_float_t* samples) {
    std::array<SamplePair, count> pairs;
    for (std::size_t n = 0; n < count; ++n)
        pairs[n] = {toSample(samples[n].re), toSample(samples[n].im)};
    return pairs;
}

} // namespace

int airspyHfSampleCallback(airspyhf_transfer_t* transfer) {
    SampleRingWriter ring;
    const airspyhf_complex_float_t* samples = transfer->samples;
    int left = transfer->sample_count;
    for (; left >= groupPairs; left -= groupPairs, samples += groupPairs)
        ring.write(toPairs<groupPairs>(samples));
    for (; left > 0; --left, ++samples)
        ring.write(toPairs<1>(samples));
    return 0;
}

} // namespace feedline
