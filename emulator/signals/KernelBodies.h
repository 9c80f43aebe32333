// SPDX-License-Identifier: MIT
// The bodies of the inner loops; compiled more than once, for different machines, so nothing in
// here may be visible to the linker. FEEDLINE_KERNELS names the table, FEEDLINE_VECTOR says how
// many bytes the machine's registers hold.
#pragma once

#include "emulator/signals/Kernels.h"

#include <bit>
#include <cstring>

// A definition of its own in every file that includes it is the point; and what looks like twice
// the same value is how vectors are written that compare lane by lane.
// NOLINTBEGIN(misc-definitions-in-headers,misc-redundant-expression)
namespace feedline::emulator {
namespace {

using Floats = float __attribute__((vector_size(FEEDLINE_VECTOR)));
using Words = std::uint32_t __attribute__((vector_size(FEEDLINE_VECTOR)));
using Integers = std::int32_t __attribute__((vector_size(FEEDLINE_VECTOR)));
constexpr std::size_t width = FEEDLINE_VECTOR / sizeof(float);
constexpr std::size_t vectors = lanes / width;
static_assert(lanes % width == 0);

#define FEEDLINE_INLINE inline __attribute__((always_inline))

FEEDLINE_INLINE void load(Floats& value, const float* from) {
    std::memcpy(&value, from, sizeof value);
}

FEEDLINE_INLINE void add(float* to, const Floats& value) {
    Floats sum;
    std::memcpy(&sum, to, sizeof sum);
    sum += value;
    std::memcpy(to, &sum, sizeof sum);
}

void noise(float* out, const float* table, float level, std::size_t count) {
    for (std::size_t i = 0; i < count; i += width) {
        Floats value;
        load(value, table + i);
        value *= level;
        std::memcpy(out + i, &value, sizeof value);
    }
}

/// As many phasors as there are lanes, each turned by all of them at once: no sample waits for the
/// one before.
template <bool Complex, bool Shaped>
FEEDLINE_INLINE void turn(float* re, float* im, const Phasor& phasor, const float* envelope,
                          std::size_t count) {
    Floats x[vectors];
    Floats y[vectors];
    std::memcpy(x, phasor.re.data(), sizeof x);
    std::memcpy(y, phasor.im.data(), sizeof y);
    for (std::size_t i = 0; i < count; i += lanes) {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < vectors; ++k) {
            const std::size_t at = i + k * width;
            Floats shape = {};
            if constexpr (Shaped)
                load(shape, envelope + at);
            add(re + at, Shaped ? x[k] * shape : x[k]);
            if constexpr (Complex)
                add(im + at, Shaped ? y[k] * shape : y[k]);
            const Floats turned = x[k] * phasor.turnRe - y[k] * phasor.turnIm;
            y[k] = x[k] * phasor.turnIm + y[k] * phasor.turnRe;
            x[k] = turned;
        }
    }
}

void carrier(float* re, float* im, const Phasor& phasor, std::size_t count) {
    if (im != nullptr)
        turn<true, false>(re, im, phasor, nullptr, count);
    else
        turn<false, false>(re, im, phasor, nullptr, count);
}

void shaped(float* re, float* im, const Phasor& phasor, const float* envelope, std::size_t count) {
    if (im != nullptr)
        turn<true, true>(re, im, phasor, envelope, count);
    else
        turn<false, true>(re, im, phasor, envelope, count);
}

/// The sine of a phase. t (1 - 4 t^2) has the sine's zeros; the polynomial behind it, fitted at
/// Chebyshev points, leaves an error of 1.7e-5, below the last of 16 bits.
FEEDLINE_INLINE void addSine(float* out, const Words& phase, float level) {
    const Floats t = __builtin_convertvector(reinterpret_cast<const Integers&>(phase), Floats) *
                     (1.0F / 4294967296.0F);
    const Floats u = t * t;
    const Floats p = 6.2830901F + u * (-16.1967544F + u * (16.5225345F + u * -8.0036118F));
    add(out, t * (1.0F - 4.0F * u) * p * level);
}

void phases(float* re, float* im, const std::uint32_t* phases, float level, std::size_t count) {
    for (std::size_t i = 0; i < count; i += width) {
        Words phase;
        std::memcpy(&phase, phases + i, sizeof phase);
        addSine(re + i, phase + 0x40000000U, level);
        if (im != nullptr)
            addSine(im + i, phase, level);
    }
}

/// A level as a whole number of 0 to `most`: halves round up, which the conversion's cutting off
/// does once all numbers are positive.
FEEDLINE_INLINE void quantise(Integers& out, const float* in, float gain, float middle,
                              float most) {
    Floats value;
    load(value, in);
    value = value * gain + (middle + 0.5F);
    value = value < 0.0F ? value - value : value;
    value = value > most ? value - value + most : value;
    out = __builtin_convertvector(value, Integers);
}

/// In memory the imaginary part of a pair comes first: which half of a word that is, the host says.
constexpr bool imaginaryLow = std::endian::native == std::endian::little;

void pairs(std::int16_t* out, const Block& block, float gain, std::size_t count) {
    for (std::size_t i = 0; i < count; i += width) {
        Integers re;
        Integers im;
        quantise(re, block.re.data() + i, gain * 32767, 32768, 65535);
        quantise(im, block.im.data() + i, gain * 32767, 32768, 65535);
        re -= 32768;
        im -= 32768;
        const Integers both =
            imaginaryLow ? (re << 16) | (im & 0xFFFF) : (im << 16) | (re & 0xFFFF);
        std::memcpy(out + 2 * i, &both, sizeof both);
    }
}

void samples(std::uint16_t* out, const Block& block, float gain, std::size_t count) {
    alignas(64) std::int32_t wide[blockSize];
    for (std::size_t i = 0; i < count; i += width) {
        Integers value;
        quantise(value, block.re.data() + i, gain * 2047, 2048, 4095);
        std::memcpy(wide + i, &value, sizeof value);
    }
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<std::uint16_t>(wide[i]);
}

#undef FEEDLINE_INLINE

} // namespace

extern const Kernels FEEDLINE_KERNELS;
const Kernels FEEDLINE_KERNELS{noise, carrier, shaped, phases, pairs, samples};

} // namespace feedline::emulator

// NOLINTEND(misc-definitions-in-headers,misc-redundant-expression)
