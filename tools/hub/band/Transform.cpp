// SPDX-License-Identifier: MIT
#include "tools/hub/band/Transform.h"

#include "tools/hub/band/Complex.h"

#include <kiss_fft.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <numbers>
#include <vector>

namespace feedline::hub {

namespace {

using Complex = std::complex<float>;

// The greatest prime factor that is cheaper straight than by a chirp.
constexpr std::size_t greatestDirectFactor = 61;

std::size_t greatestPrimeFactor(std::size_t number) {
    std::size_t greatest = 1;
    for (std::size_t factor = 2; factor * factor <= number; ++factor)
        while (number % factor == 0) {
            greatest = factor;
            number /= factor;
        }
    return std::max(greatest, number);
}

} // namespace

class Transform::Method {
public:
    virtual ~Method() = default;
    virtual void run(const Complex* from, Complex* to) = 0;
};

class Transform::Direct : public Method {
public:
    Direct(std::size_t length, Direction direction)
        : plan_(kiss_fft_alloc(static_cast<int>(length), direction == Direction::inverse ? 1 : 0,
                               nullptr, nullptr)) {
        if (!plan_)
            throw std::bad_alloc();
    }
    void run(const Complex* from, Complex* to) override {
        kiss_fft(plan_.get(), reinterpret_cast<const kiss_fft_cpx*>(from),
                 reinterpret_cast<kiss_fft_cpx*>(to));
    }

private:
    struct Free {
        void operator()(kiss_fft_cfg plan) const { kiss_fft_free(plan); }
    };
    std::unique_ptr<kiss_fft_state, Free> plan_;
};

// With nk = (n^2 + k^2 - (k - n)^2) / 2 the sum becomes a convolution, which runs at a length of a
// power of two.
class Transform::Chirp : public Method {
public:
    Chirp(std::size_t length, Direction direction)
        : chirp_(length), padded_(powerOfTwoFor(2 * length)), work_(padded_), image_(padded_),
          kernel_(padded_), forward_(padded_, Direction::forward),
          inverse_(padded_, Direction::inverse) {
        const double sign = direction == Direction::forward ? -1 : 1;
        for (std::size_t n = 0; n < length; ++n) {
            const auto square = static_cast<double>(std::uint64_t{n} * n % (2 * length));
            const double angle = sign * std::numbers::pi * square / static_cast<double>(length);
            chirp_[n] = Complex(std::polar(1.0, angle));
        }
        makeKernel();
    }

    void run(const Complex* from, Complex* to) override {
        const std::size_t length = chirp_.size();
        for (std::size_t n = 0; n < length; ++n)
            work_[n] = product(from[n], chirp_[n]);
        std::fill(work_.begin() + static_cast<std::ptrdiff_t>(length), work_.end(), Complex{});
        forward_.run(work_.data(), image_.data());
        for (std::size_t k = 0; k < padded_; ++k)
            image_[k] = product(image_[k], kernel_[k]);
        inverse_.run(image_.data(), work_.data());
        for (std::size_t k = 0; k < length; ++k)
            to[k] = product(work_[k], chirp_[k]);
    }

private:
    static std::size_t powerOfTwoFor(std::size_t length) {
        std::size_t power = 1;
        while (power < length)
            power *= 2;
        return power;
    }

    void makeKernel() {
        const std::size_t length = chirp_.size();
        const float scale = 1.0F / static_cast<float>(padded_);
        for (std::size_t n = 0; n < length; ++n) {
            work_[n] = scale * std::conj(chirp_[n]);
            work_[(padded_ - n) % padded_] = work_[n];
        }
        forward_.run(work_.data(), kernel_.data());
    }

    std::vector<Complex> chirp_;
    std::size_t padded_;
    std::vector<Complex> work_;
    std::vector<Complex> image_;
    std::vector<Complex> kernel_;
    Direct forward_;
    Direct inverse_;
};

Transform::Transform(std::size_t length, Direction direction) {
    if (greatestPrimeFactor(length) <= greatestDirectFactor)
        method_ = std::make_unique<Direct>(length, direction);
    else
        method_ = std::make_unique<Chirp>(length, direction);
}
Transform::~Transform() = default;
Transform::Transform(Transform&&) noexcept = default;
Transform& Transform::operator=(Transform&&) noexcept = default;

void Transform::run(std::span<const Complex> from, std::span<Complex> to) {
    method_->run(from.data(), to.data());
}

} // namespace feedline::hub
