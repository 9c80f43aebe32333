// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/PassBand.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace feedline::hub::web {

namespace {

constexpr double attenuation = 70; // dB
// Kaiser's rules for a stop-band that deep: the window's shape, and taps times transition width.
const double shape = 0.1102 * (attenuation - 8.7);
constexpr double widthTimesTaps = (attenuation - 8) / (2.285 * 2 * std::numbers::pi);

std::vector<float> kaiser(std::size_t taps) {
    std::vector<float> window(taps);
    const double half = static_cast<double>(taps - 1) / 2;
    for (std::size_t tap = 0; tap < taps; ++tap) {
        const double x = (static_cast<double>(tap) - half) / half;
        window[tap] = static_cast<float>(std::cyl_bessel_i(0, shape * std::sqrt(1 - x * x)) /
                                         std::cyl_bessel_i(0, shape));
    }
    return window;
}

double sinc(double x) {
    return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

} // namespace

PassBand::PassBand(double rate, std::size_t hop, std::size_t size)
    : rate_(rate), hop_(hop), fourier_(size), window_(kaiser(size - hop + 1)), response_(size),
      input_(size), bins_(size), output_(size), filled_(size - hop) {
    setEdges({-rate / 2, rate / 2});
}

double PassBand::transition() const {
    return widthTimesTaps * rate_ / static_cast<double>(window_.size() - 1);
}

void PassBand::setEdges(Edges edges) {
    const double width = (edges.high - edges.low) / rate_;
    const double centre = (edges.high + edges.low) / 2 / rate_;
    const double scale = width / static_cast<double>(fourier_.size());
    std::vector<std::complex<float>> kernel(fourier_.size());
    for (std::size_t tap = 0; tap < window_.size(); ++tap) {
        const double at = static_cast<double>(tap) - delay();
        kernel[tap] = std::complex<float>(std::polar(scale * sinc(width * at) * window_[tap], 0.0) *
                                          std::polar(1.0, 2 * std::numbers::pi * centre * at));
    }
    fourier_.forward(kernel, response_);
}

void PassBand::add(std::span<const std::complex<float>> in, std::vector<std::complex<float>>& out) {
    while (!in.empty()) {
        const std::size_t taken = std::min(in.size(), input_.size() - filled_);
        std::copy_n(in.begin(), taken, input_.begin() + static_cast<std::ptrdiff_t>(filled_));
        filled_ += taken;
        in = in.subspan(taken);
        if (filled_ == input_.size())
            filterOneHop(out);
    }
}

// The first entries of a circular convolution hold what wrapped around; as many as the kernel is
// longer than one are left out.
void PassBand::filterOneHop(std::vector<std::complex<float>>& out) {
    fourier_.forward(input_, bins_);
    for (std::size_t bin = 0; bin < bins_.size(); ++bin) {
        const std::complex<float> a = bins_[bin];
        const std::complex<float> b = response_[bin];
        bins_[bin] = {a.real() * b.real() - a.imag() * b.imag(),
                      a.real() * b.imag() + a.imag() * b.real()};
    }
    fourier_.inverse(bins_, output_);
    const auto overlap = static_cast<std::ptrdiff_t>(input_.size() - hop_);
    out.insert(out.end(), output_.begin() + overlap, output_.end());
    std::copy(input_.begin() + static_cast<std::ptrdiff_t>(hop_), input_.end(), input_.begin());
    filled_ = static_cast<std::size_t>(overlap);
}

} // namespace feedline::hub::web
