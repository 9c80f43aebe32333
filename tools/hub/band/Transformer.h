// SPDX-License-Identifier: MIT
// Makes the transform that all cut channels share.
#pragma once

#include "tools/hub/band/SharedRing.h"
#include "tools/hub/band/Spectrum.h"
#include "tools/hub/band/Transform.h"

#include <complex>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace feedline::hub {

/// Takes blocks in their order and gives a Spectrum for each 20 ms. Short gaps become zeros, so
/// that what follows keeps its place in time; around longer ones, and where frequency or rate
/// change, it begins anew. For one thread.
class Transformer {
public:
    using Give = std::function<void(SpectrumPointer)>;
    explicit Transformer(Give give) : give_(std::move(give)) {}

    void take(const Block& block);
    /// What comes next does not follow.
    void forget();

private:
    bool continues(const Block& block) const;
    void begin(const Block& block);
    void fillGap(std::uint64_t pairs, const Block& after);
    void append(const std::int16_t* samples, std::size_t pairs, Clock::time_point arrival);
    void finish(Clock::time_point arrival);

    Give give_;
    std::optional<Transform> transform_;
    std::vector<std::complex<float>> input_; ///< 25 ms; empty before the first block
    std::size_t filled_ = 0;                 ///< pairs of it
    Spectrum next_;                          ///< what will be said about it
    Position due_ = 0;                       ///< position of the pair that comes next
};

} // namespace feedline::hub
