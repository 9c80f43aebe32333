// SPDX-License-Identifier: MIT
// What a receiver's stream consists of before the receiver's gain.
#pragma once

#include "emulator/signals/Kernels.h"

#include <cstdint>

namespace feedline::emulator {

/// The part of the spectrum a receiver looks at.
///
/// A complex stream holds centre - rate/2 to centre + rate/2, upright. A real one holds half of its
/// rate around the centre, which lies at a quarter of the rate, upside down.
struct View {
    double centre = 0; ///< Hz
    double rate = 0;   ///< raw samples (complex: pairs) a second
    bool real = false;
    double shift = 0;       ///< Hz by which the library moves the complex stream afterwards
    double ownNoise = 0;    ///< the receiver's, as a standard deviation of each sample
    std::uint32_t salt = 0; ///< makes the noise of two receivers different

    bool operator==(const View&) const = default;
};

/// A source of samples around 1.0 = full scale. One thread at a time; prepare() alone may be called
/// by another one meanwhile.
class Content {
public:
    Content() = default;
    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;
    virtual ~Content() = default;

    /// Does ahead what the first generate() of a view would take long for.
    virtual void prepare(const View& view) = 0;

    /// Writes samples position .. position + count - 1 (rounded up to `lanes`; count at most
    /// `blockSize`).
    virtual void generate(const View& view, std::uint64_t position, std::size_t count,
                          Block& block) = 0;

    /// Mean power of the view, a full carrier being 1; what a receiver's AGC sees. Any thread.
    virtual double power(const View& view) const = 0;
};

} // namespace feedline::emulator
