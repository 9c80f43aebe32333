// SPDX-License-Identifier: MIT
// A lower sample rate for real samples.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// Low-pass and every n-th sample of it. Not synchronised.
class Decimator {
public:
    /// @param factor  n
    /// @param cutoff  -6 dB point, as a share of the rate that goes in
    /// @param taps    of the filter
    Decimator(std::size_t factor, double cutoff, std::size_t taps);

    /// Appends to `out`. What is short of a whole group of n waits for the next call.
    void add(std::span<const float> in, std::vector<float>& out);

    /// Samples that went in by which what comes out is behind.
    double delay() const { return static_cast<double>(kernel_.size() - 1) / 2; }

private:
    std::size_t factor_;
    std::vector<float> kernel_; ///< symmetric, so that its order does not matter
    std::vector<float> history_;
};

} // namespace feedline::hub::web
