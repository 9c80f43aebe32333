// SPDX-License-Identifier: MIT
#include "tools/hub/rtltcp/ByteScaler.h"

#include <algorithm>
#include <cmath>

namespace feedline::hub {
namespace {

/// Root mean square that the following aims at: 14 dB below full scale, room for peaks of noise.
constexpr float aim = 0.2F;
/// No part of I or Q is to come closer to the end of the scale.
constexpr float highestPeak = 0.9F;
constexpr float largestGain = 1e5F;     ///< 100 dB: the quietest receiver's own noise
constexpr float smallestGain = 1e-1F;   ///< -20 dB
constexpr double releasePerSecond = 10; ///< dB by which the gain rises at most

constexpr float centre = 127.5F;

float power(std::span<const std::complex<float>> pairs) {
    double sum = 0;
    for (const auto& pair : pairs)
        sum += std::norm(pair);
    return static_cast<float>(sum / static_cast<double>(pairs.size()));
}

float peak(std::span<const std::complex<float>> pairs) {
    float most = 0;
    for (const auto& pair : pairs)
        most = std::max({most, std::abs(pair.real()), std::abs(pair.imag())});
    return most;
}

} // namespace

void ByteScaler::followSignal() {
    following_ = true;
}

void ByteScaler::setGain(double decibels) {
    following_ = false;
    gain_ = static_cast<float>(std::pow(10.0, decibels / 20));
}

double ByteScaler::gain() const {
    return 20 * std::log10(static_cast<double>(gain_));
}

float ByteScaler::nextGain(std::span<const std::complex<float>> pairs, std::uint32_t rate) const {
    const float most = peak(pairs);
    if (!following_ || most == 0) // Silence says nothing about a level.
        return gain_;
    const double seconds = static_cast<double>(pairs.size()) / std::max(rate, 1U);
    const auto release = static_cast<float>(std::pow(10.0, releasePerSecond * seconds / 20));
    const float wanted = std::min(aim / std::sqrt(power(pairs)), highestPeak / most);
    return std::clamp(std::min(wanted, gain_ * release), smallestGain, largestGain);
}

void ByteScaler::convert(std::span<const std::complex<float>> pairs, std::uint32_t rate,
                         std::span<std::uint8_t> to) {
    if (pairs.empty())
        return;
    const float next = nextGain(pairs, rate);
    // A lower gain holds from the first pair on, or the loud part would be cut; a higher one is
    // reached little by little, so that there is no step.
    float gain = std::min(gain_, next);
    const float step = (next - gain) / static_cast<float>(pairs.size());
    for (std::size_t i = 0; i < pairs.size(); ++i, gain += step) {
        to[2 * i] = toByte(pairs[i].real() * gain);
        to[2 * i + 1] = toByte(pairs[i].imag() * gain);
    }
    gain_ = next;
}

std::uint8_t ByteScaler::toByte(float value) {
    chance_ ^= chance_ << 13U;
    chance_ ^= chance_ >> 17U;
    chance_ ^= chance_ << 5U;
    const float chance = static_cast<float>(chance_ >> 8U) * 0x1p-24F; // 0 to 1, 1 excluded
    return static_cast<std::uint8_t>(std::clamp(centre + value * centre + chance, 0.0F, 255.0F));
}

} // namespace feedline::hub
