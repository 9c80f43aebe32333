#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <array>
#include <bit>

namespace feedline {
namespace {

/// Pairs that are converted together: so few that the sender hardly waits for them, and enough for
/// the compiler to make vectors of them.
constexpr int groupPairs = 16;
constexpr std::int32_t groupEntries = 2 * groupPairs;

/// How far ahead of the writing the ring's cache lines are fetched, in entries. Each was last used
/// a whole ring ago, and waiting for it would cost as much as half of everything else here.
constexpr std::int32_t fetchAhead = 1024;
static_assert(std::has_single_bit(static_cast<std::uint32_t>(ringEntries)));

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

/// Writes pairs from index `w` on, none of them beyond the ring's end, and returns the index after
/// them. Each is published by itself, not once per block: the sender starts on the first of a block
/// while the rest is converted.
template <std::size_t pairs>
std::int32_t write(const airspyhf_complex_float_t* samples, std::int16_t* ring, std::int32_t w) {
    std::array<SamplePair, pairs> converted;
    for (std::size_t i = 0; i < pairs; ++i)
        converted[i] = {toSample(samples[i].re), toSample(samples[i].im)};
#pragma GCC unroll 16
    for (std::size_t i = 0; i < pairs; ++i) {
        storePair(ring + w, converted[i]);
        w = i + 1 < pairs ? w + 2 : nextPair(w);
        ringWriteIndex.store(w, std::memory_order_release);
    }
    return w;
}

} // namespace

int airspyHfSampleCallback(airspyhf_transfer_t* transfer) {
    std::int16_t* const ring = sampleRing;
    const airspyhf_complex_float_t* samples = transfer->samples;
    int left = transfer->sample_count;
    std::int32_t w = ringWriteIndex.load(std::memory_order_relaxed);
    while (left > 0) {
        if (left >= groupPairs && w <= ringEntries - groupEntries) {
            __builtin_prefetch(ring + ((w + fetchAhead) & (ringEntries - 1)), 1);
            w = write<groupPairs>(samples, ring, w);
            samples += groupPairs;
            left -= groupPairs;
        } else {
            w = write<1>(samples, ring, w);
            ++samples;
            --left;
        }
    }
    return 0;
}

} // namespace feedline
