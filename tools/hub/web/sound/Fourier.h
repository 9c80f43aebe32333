// SPDX-License-Identifier: MIT
// Complex transforms of one length, both ways.
#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

struct kiss_fft_state;

namespace feedline::hub::web {

/// Not scaled: forth and back again multiplies by the length. Not synchronised.
class Fourier {
public:
    /// @param size  a product of 2, 3 and 5 is fast
    explicit Fourier(std::size_t size);

    std::size_t size() const { return size_; }
    /// `in` and `out` have size() entries each and do not overlap.
    void forward(std::span<const std::complex<float>> in, std::span<std::complex<float>> out);
    void inverse(std::span<const std::complex<float>> in, std::span<std::complex<float>> out);

private:
    struct Free {
        void operator()(kiss_fft_state* plan) const;
    };
    using Plan = std::unique_ptr<kiss_fft_state, Free>;

    std::size_t size_;
    Plan forward_;
    Plan inverse_;
};

} // namespace feedline::hub::web
