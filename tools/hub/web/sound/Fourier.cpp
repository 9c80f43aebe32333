// SPDX-License-Identifier: MIT
#include "tools/hub/web/sound/Fourier.h"

#include <kiss_fft.h>

namespace feedline::hub::web {

namespace {

void run(kiss_fft_state* plan, std::span<const std::complex<float>> in,
         std::span<std::complex<float>> out) {
    static_assert(sizeof(kiss_fft_cpx) == sizeof(std::complex<float>));
    kiss_fft(plan, reinterpret_cast<const kiss_fft_cpx*>(in.data()),
             reinterpret_cast<kiss_fft_cpx*>(out.data()));
}

} // namespace

void Fourier::Free::operator()(kiss_fft_state* plan) const {
    kiss_fft_free(plan);
}

Fourier::Fourier(std::size_t size)
    : size_(size), forward_(kiss_fft_alloc(static_cast<int>(size), 0, nullptr, nullptr)),
      inverse_(kiss_fft_alloc(static_cast<int>(size), 1, nullptr, nullptr)) {}

void Fourier::forward(std::span<const std::complex<float>> in, std::span<std::complex<float>> out) {
    run(forward_.get(), in, out);
}

void Fourier::inverse(std::span<const std::complex<float>> in, std::span<std::complex<float>> out) {
    run(inverse_.get(), in, out);
}

} // namespace feedline::hub::web
