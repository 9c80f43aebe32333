#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <cmath>

namespace feedline {
namespace {

/// Full scale 1.0 becomes 32767, towards zero. There is no clamping: what does not fit keeps its
/// low 16 bits, and what does not fit 32 bits either, NaN included, becomes 0.
std::int16_t toSample(float value) {
    constexpr double fullScale = 32767.0;
    constexpr double bound = 2147483648.0;
    const double product = static_cast<double>(value) * fullScale;
    const std::int32_t whole = std::abs(product) < bound ? static_cast<std::int32_t>(product) : 0;
    return static_cast<std::int16_t>(whole);
}

} // namespace

int airspyHfSampleCallback(airspyhf_transfer_t* transfer) {
    std::int16_t* const ring = sampleRing;
    const airspyhf_complex_float_t* const samples = transfer->samples;
    const int count = transfer->sample_count;
    std::int32_t w = ringWriteIndex.load(std::memory_order_relaxed);
    for (int i = 0; i < count; ++i) {
        storeEntry(ring + w, toSample(samples[i].re));
        storeEntry(ring + w + 1, toSample(samples[i].im));
        w = nextPair(w);
        // Pair by pair, not once per block: the sender starts on the first of a block while the
        // rest is converted.
        ringWriteIndex.store(w, std::memory_order_release);
    }
    return 0;
}

} // namespace feedline
