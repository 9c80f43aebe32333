// SPDX-License-Identifier: MIT
// Averaged power spectrum of the IQ stream.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace feedline::probe {

/// dBFS, one value a bin, from minus half the sample rate upwards; the centre frequency is bin
/// size/2. 0 dBFS is a carrier of full amplitude.
using Spectrum = std::vector<float>;

/// Sums of power, in the same order as Spectrum, so that averages of averages stay true.
struct PowerSum {
    std::vector<double> power; ///< empty until the first frame
    std::uint64_t frames = 0;

    void add(const PowerSum& other);
    Spectrum average() const; ///< empty when there are no frames
};

struct Carrier {
    double offset; ///< Hz from the centre frequency
    double dBFS;
};

/// The strongest carrier of a spectrum, placed between the bins. Nothing for an empty or silent
/// spectrum.
std::optional<Carrier> strongestCarrier(const Spectrum& spectrum, double sampleRate);

/// Transforms the stream frame by frame under a window whose side lobes lie 92 dB down, so that a
/// strong carrier hides no weak one. Not synchronised.
class SpectrumEstimator {
public:
    static constexpr std::size_t size = 4096; ///< pairs a frame, and bins

    SpectrumEstimator();
    ~SpectrumEstimator();
    SpectrumEstimator(const SpectrumEstimator&) = delete;
    SpectrumEstimator& operator=(const SpectrumEstimator&) = delete;

    /// @param entries   I, Q, I, Q, ...; an even number
    /// @param position  place of the first pair in the stream, in pairs. A frame never spans a gap:
    ///                  when this is not where the last call ended, the frame begins anew.
    void add(std::span<const std::int16_t> entries, std::int64_t position);

    /// The sum of the frames since the last call of this function.
    PowerSum take();

private:
    void transform();

    struct Plan;
    std::unique_ptr<Plan> plan_;
    std::vector<float> window_;
    std::vector<std::complex<float>> frame_;
    std::vector<std::complex<float>> bins_;
    std::size_t filled_ = 0;
    std::int64_t next_ = 0;
    PowerSum sum_;
};

} // namespace feedline::probe
