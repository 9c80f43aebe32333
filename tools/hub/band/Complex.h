// SPDX-License-Identifier: MIT
// Complex arithmetic for sample loops.
#pragma once

#include <complex>

namespace feedline::hub {

/// The product by its definition. The standard's operator looks for infinities in every product,
/// and so keeps loops from becoming vectors.
inline std::complex<float> product(std::complex<float> a, std::complex<float> b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

} // namespace feedline::hub
