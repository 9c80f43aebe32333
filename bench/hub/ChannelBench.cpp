// SPDX-License-Identifier: MIT
// What a channel costs by itself: one hop of 20 ms cut from a transform that is there already, and
// the transform.

#include "tools/hub/band/Cutter.h"
#include "tools/hub/band/Rates.h"

#include <benchmark/benchmark.h>

namespace {

using namespace feedline::hub;

constexpr std::uint32_t centre = 7100000;

// One hop of a channel, against the 20 ms it stands for.
void cut(benchmark::State& state) {
    const auto rate = static_cast<std::uint32_t>(state.range(0));
    const auto received = static_cast<std::uint32_t>(state.range(1));
    Spectrum spectrum;
    spectrum.frequency = centre;
    spectrum.rate = received;
    spectrum.bins.assign(received / transformsPerSecond, {1.0F, 0.5F});
    Cutter cutter;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(cutter.cut(spectrum, centre + 12345, rate).data());
        spectrum.position += received / hopsPerSecond;
    }
}
BENCHMARK(cut)
    ->ArgNames({"rate", "received"})
    ->Args({8000, 768000})
    ->Args({12000, 768000})
    ->Args({48000, 768000})
    ->Args({48000, 10000000})
    ->Args({192000, 768000})
    ->Args({250000, 768000})
    ->Args({299800, 768000})
    ->Args({2400000, 768000});

void transform(benchmark::State& state) {
    const auto received = static_cast<std::uint32_t>(state.range(0));
    std::vector<std::complex<float>> pairs(received / transformsPerSecond, {0.25F, -0.125F});
    std::vector<std::complex<float>> bins(pairs.size());
    Transform forward(pairs.size(), Transform::Direction::forward);
    while (state.KeepRunning())
        forward.run(pairs, bins);
}
BENCHMARK(transform)
    ->ArgName("received")
    ->Arg(192000)
    ->Arg(768000)
    ->Arg(912000)
    ->Arg(2500000)
    ->Arg(3000000)
    ->Arg(6000000)
    ->Arg(10000000);

} // namespace
