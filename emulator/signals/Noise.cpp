// SPDX-License-Identifier: MIT
#include "emulator/signals/Noise.h"

#include "emulator/signals/Kernels.h"

#include <random>
#include <vector>

namespace feedline::emulator {
namespace {

constexpr std::size_t tableSize = std::size_t{1} << 16;

/// Always the same numbers: what a test has seen once it sees again. Never destroyed, since threads
/// may still read while the process ends.
const std::vector<float>& table() {
    static const auto& made = *[] {
        std::mt19937 random(20240229); // NOLINT: a fixed seed is the point
        std::normal_distribution<float> gauss;
        auto* values = new std::vector<float>(tableSize + blockSize);
        for (float& value : *values)
            value = gauss(random);
        return values;
    }();
    return made;
}

/// Neighbouring blocks must take unrelated places.
std::uint64_t scramble(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

} // namespace

const float* noiseFor(std::uint64_t position, std::uint32_t salt) {
    const std::uint64_t place = scramble(position + (std::uint64_t{salt} << 48)) % tableSize;
    return table().data() + place;
}

} // namespace feedline::emulator
