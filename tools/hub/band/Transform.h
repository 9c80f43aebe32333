// SPDX-License-Identifier: MIT
// The discrete Fourier transform of any length.
#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <span>

namespace feedline::hub {

/// One length and one direction; not scaled. Lengths whose prime factors are small go straight
/// through the library; for the others that would cost the square of the factor, so they go by way
/// of a convolution with a chirp (Bluestein's algorithm). For one thread at a time.
class Transform {
public:
    enum class Direction { forward, inverse };

    /// @param length  points, at least 1
    Transform(std::size_t length, Direction direction);
    ~Transform();
    Transform(Transform&&) noexcept;
    Transform& operator=(Transform&&) noexcept;

    /// Both of the transform's length, and not the same.
    void run(std::span<const std::complex<float>> from, std::span<std::complex<float>> to);

private:
    class Method;
    class Direct;
    class Chirp;
    std::unique_ptr<Method> method_;
};

} // namespace feedline::hub
