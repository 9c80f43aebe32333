// SPDX-License-Identifier: MIT
// The inner loops of the signal generator.
//
// They exist once for every machine and once more for machines with wider registers; kernels() has
// the fastest the machine can run. Any thread may call. Blocks hold at most `blockSize` samples and
// every length is rounded up to a multiple of `lanes`, so buffers must have room for that.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace feedline::emulator {

inline constexpr std::size_t blockSize = 1024;
inline constexpr std::size_t lanes = 16;

/// One block of samples as numbers around 1.0 = full scale; `im` is unused for real streams.
struct Block {
    alignas(64) std::array<float, blockSize> re;
    alignas(64) std::array<float, blockSize> im;
};

/// A turning vector: its positions at the next `lanes` samples, and its turn in as many.
struct Phasor {
    alignas(64) std::array<float, lanes> re;
    alignas(64) std::array<float, lanes> im;
    float turnRe;
    float turnIm;
};

struct Kernels {
    /// Sets out = table * level.
    void (*noise)(float* out, const float* table, float level, std::size_t count);
    /// Adds a steady carrier; `im` may be null for a real stream.
    void (*carrier)(float* re, float* im, const Phasor& phasor, std::size_t count);
    /// Adds a carrier times an envelope.
    void (*shaped)(float* re, float* im, const Phasor& phasor, const float* envelope,
                   std::size_t count);
    /// Adds a carrier of given phases (2^32 is one turn).
    void (*phases)(float* re, float* im, const std::uint32_t* phases, float level,
                   std::size_t count);
    /// Signed 16-bit pairs, imaginary part first, cut off at full scale; numbers of the host's.
    void (*pairs)(std::int16_t* out, const Block& block, float gain, std::size_t count);
    /// Unsigned 12-bit samples in 16 bits, cut off at full scale; numbers of the host's.
    void (*samples)(std::uint16_t* out, const Block& block, float gain, std::size_t count);
};

const Kernels& kernels();

} // namespace feedline::emulator
