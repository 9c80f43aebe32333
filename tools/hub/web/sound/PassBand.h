// SPDX-License-Identifier: MIT
// A pass-band with steep edges anywhere in a channel.
#pragma once

#include "tools/hub/web/sound/Fourier.h"
#include "tools/hub/web/sound/Mode.h"

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// Fast convolution (overlap-save) with a Kaiser-windowed kernel of linear phase: flat within
/// 0.01 dB, 70 dB down beyond `transition()` around each edge. Not synchronised.
class PassBand {
public:
    /// @param rate   pairs a second
    /// @param hop    pairs that come out at a time
    /// @param size   of the transform; the kernel has size - hop + 1 entries
    PassBand(double rate, std::size_t hop, std::size_t size);

    /// May be called between any two calls of add().
    void setEdges(Edges edges);

    /// Appends what `in` completes to `out`: hop pairs at a time, as many in all as have gone in
    /// but for those that wait for a full hop.
    void add(std::span<const std::complex<float>> in, std::vector<std::complex<float>>& out);

    /// Hz from flat to 70 dB down.
    double transition() const;
    /// Pairs by which what comes out is behind, the wait for a full hop not counted.
    double delay() const { return static_cast<double>(window_.size() - 1) / 2; }

private:
    void filterOneHop(std::vector<std::complex<float>>& out);

    double rate_;
    std::size_t hop_;
    Fourier fourier_;
    std::vector<float> window_;                 ///< one entry a tap
    std::vector<std::complex<float>> response_; ///< of the kernel, scaled for the inverse transform
    std::vector<std::complex<float>> input_;    ///< the overlap, then up to a hop of new pairs
    std::vector<std::complex<float>> bins_;
    std::vector<std::complex<float>> output_;
    std::size_t filled_; ///< entries of input_ in use
};

} // namespace feedline::hub::web
