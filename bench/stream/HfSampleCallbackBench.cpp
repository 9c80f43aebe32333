// SPDX-License-Identifier: MIT
// The HF+ callback on blocks as libairspyhf delivers them, beside a hand-vectorised conversion that
// lives only here: what the compiler leaves on the table.

#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace feedline {
namespace {

constexpr int blockPairs = 2048;

std::vector<airspyhf_complex_float_t> block() {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> values(-1.0F, 1.0F);
    std::vector<airspyhf_complex_float_t> pairs(blockPairs);
    for (auto& pair : pairs)
        pair = {values(random), values(random)};
    return pairs;
}

bool ringReady() {
    if (!makeSampleRing())
        return false;
    populateSampleRing();
    return true;
}

void callback(benchmark::State& state) {
    if (!ringReady())
        return state.SkipWithError("no memory for the ring");
    std::vector<airspyhf_complex_float_t> samples = block();
    airspyhf_transfer_t transfer{};
    transfer.samples = samples.data();
    transfer.sample_count = blockPairs;
    while (state.KeepRunning())
        airspyHfSampleCallback(&transfer);
    state.SetItemsProcessed(state.iterations() * blockPairs);
}
BENCHMARK(callback);

#if defined(__x86_64__)
/// Four entries at a time, the same result for every input: the processor's out-of-range answer has
/// low bits of 0.
void convertFour(const float* from, std::int16_t* to) {
    const __m128d scale = _mm_set1_pd(32767.0);
    const __m128 values = _mm_loadu_ps(from);
    const __m128i low = _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtps_pd(values), scale));
    const __m128i high =
        _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(values, values)), scale));
    const __m128i whole = _mm_unpacklo_epi64(low, high);
    // Keep the low 16 bits of each: sign-extend them, so that the saturating pack saturates
    // nothing.
    const __m128i extended = _mm_srai_epi32(_mm_slli_epi32(whole, 16), 16);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packs_epi32(extended, extended));
}

void vectorised(benchmark::State& state) {
    if (!ringReady())
        return state.SkipWithError("no memory for the ring");
    const std::vector<airspyhf_complex_float_t> samples = block();
    const auto* from = &samples[0].re;
    std::int32_t w = 0;
    while (state.KeepRunning()) {
        for (int i = 0; i < 2 * blockPairs; i += 4)
            convertFour(from + i, sampleRing + w + i);
        w = (w + 2 * blockPairs) % ringEntries;
        ringWriteIndex.store(w, std::memory_order_release); // once a block, unlike the product
    }
    state.SetItemsProcessed(state.iterations() * blockPairs);
}
BENCHMARK(vectorised);
#endif

} // namespace
} // namespace feedline

BENCHMARK_MAIN();
