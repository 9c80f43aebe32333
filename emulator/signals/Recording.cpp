// SPDX-License-Identifier: MIT
#include "emulator/signals/Recording.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <fstream>
#include <memory>
#include <numbers>
#include <numeric>
#include <stdexcept>

namespace feedline::emulator {
namespace {

constexpr float unit = 1.0F / 32768;

Pairs readWave(const std::string& path) {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_READ, &info),
                                                           sf_close);
    if (!file)
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    if (info.channels != 2)
        throw std::runtime_error(path + ": not two channels");
    Pairs pairs(static_cast<std::size_t>(info.frames) * 2);
    const sf_count_t got = sf_readf_short(file.get(), pairs.data(), info.frames);
    pairs.resize(static_cast<std::size_t>(std::max<sf_count_t>(got, 0)) * 2);
    return pairs;
}

Pairs readRaw(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file)
        throw std::runtime_error(path + ": cannot be read");
    const auto bytes = static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0));
    std::vector<unsigned char> content(bytes / 4 * 4);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(content.data()),
              static_cast<std::streamsize>(content.size()));
    Pairs pairs(content.size() / 2);
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = static_cast<std::int16_t>(content[2 * i] | content[2 * i + 1] << 8);
    return pairs;
}

/// The half-sample interpolator: a windowed sinc between the pairs.
constexpr int reach = 16;
constexpr std::size_t tapCount = std::size_t{2} * reach;

std::array<float, tapCount> halfSampleFilter() {
    std::array<float, tapCount> taps{};
    for (int i = 0; i < 2 * reach; ++i) {
        const double x = i - reach + 0.5;
        const double window = 0.5 + 0.5 * std::cos(std::numbers::pi * x / (reach + 0.5));
        taps[static_cast<std::size_t>(i)] =
            static_cast<float>(window * std::sin(std::numbers::pi * x) / (std::numbers::pi * x));
    }
    const float sum = std::accumulate(taps.begin(), taps.end(), 0.0F);
    for (float& tap : taps)
        tap /= sum;
    return taps;
}

std::int16_t cutOff(float value) {
    return static_cast<std::int16_t>(std::lround(std::clamp(value, -32768.0F, 32767.0F)));
}

double meanPowerOf(const Pairs& pairs) {
    double sum = 0;
    for (std::int16_t value : pairs)
        sum += std::pow(value * unit, 2);
    return sum / (static_cast<double>(pairs.size()) / 2);
}

} // namespace

Pairs readRecording(const std::string& path) {
    Pairs pairs = path.ends_with(".wav") || path.ends_with(".WAV") ? readWave(path) : readRaw(path);
    if (pairs.empty())
        throw std::runtime_error(path + ": holds no sample");
    return pairs;
}

std::vector<std::int16_t> realStream(const Pairs& pairs) {
    const auto taps = halfSampleFilter();
    const std::size_t count = pairs.size() / 2;
    std::vector<std::int16_t> stream(2 * count);
    for (std::size_t k = 0; k < count; ++k) {
        float between = 0;
        for (std::size_t i = 0; i < taps.size(); ++i) {
            const std::size_t at = (k + i + 1 + count * reach - reach) % count;
            between += taps[i] * pairs[2 * at + 1];
        }
        const float sign = k % 2 == 0 ? 1 : -1;
        stream[2 * k] = cutOff(sign * pairs[2 * k]);
        stream[2 * k + 1] = cutOff(sign * between);
    }
    return stream;
}

Recording::Recording(const Pairs& pairs, bool isReal)
    : real_(isReal), samples_(pairs), meanPower_(meanPowerOf(pairs)) {
    if (!real_)
        return;
    // An odd number of pairs joins with itself the right way up only after two rounds.
    if (pairs.size() / 2 % 2 != 0) {
        samples_.resize(2 * pairs.size());
        std::ranges::copy(pairs, samples_.end() - std::ssize(pairs));
    }
    samples_ = realStream(samples_);
}

void Recording::prepare(const View&) {}

double Recording::power(const View&) const {
    return meanPower_;
}

void Recording::generate(const View& view, std::uint64_t position, std::size_t count,
                         Block& block) {
    std::size_t at = position % length();
    if (real_) {
        for (std::size_t i = 0; i < count; ++i, at = at + 1 == length() ? 0 : at + 1)
            block.re[i] = static_cast<float>(samples_[at]) * unit;
        return;
    }
    // Whole cycles of the shift fill the loop, so that it joins.
    const auto pairs = static_cast<double>(length());
    const double cycles = std::round(-view.shift / view.rate * pairs) / pairs;
    const std::complex<float> step =
        std::polar(1.0F, static_cast<float>(2 * std::numbers::pi * cycles));
    const double start = std::fmod(cycles * static_cast<double>(at), 1.0);
    std::complex<float> phasor = std::polar(unit, static_cast<float>(2 * std::numbers::pi * start));
    for (std::size_t i = 0; i < count; ++i, at = at + 1 == length() ? 0 : at + 1) {
        const float re = samples_[2 * at];
        const float im = samples_[2 * at + 1];
        block.re[i] = re * phasor.real() - im * phasor.imag();
        block.im[i] = re * phasor.imag() + im * phasor.real();
        phasor = {phasor.real() * step.real() - phasor.imag() * step.imag(),
                  phasor.real() * step.imag() + phasor.imag() * step.real()};
    }
}

} // namespace feedline::emulator
