// SPDX-License-Identifier: MIT
// The levels of a band at one moment, and what of it a listener wants to see.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// Levels on the wire: 0 is -160 dBFS or less, 255 is -0.625 dBFS or more.
constexpr double levelFloor = -160; // dBFS
constexpr double levelStep = 0.625; // dB
std::uint8_t levelOf(double dBFS);

/// Points of a row, whatever width it shows.
constexpr std::size_t rowPoints = 1024;

/// A part of the spectrum.
struct View {
    double low = 0;  ///< Hz, lower edge
    double span = 0; ///< Hz
    bool operator==(const View&) const = default;
};

/// Immutable once made, so that any number of threads may cut rows out of it.
class LevelRow {
public:
    /// @param band    what the transform covers
    /// @param levels  one for each bin, from the band's lower edge upwards; a power of two
    /// @param powers  the same, as a share of full scale's power
    LevelRow(View band, std::vector<std::uint8_t> levels, std::vector<float> powers);

    const View& band() const { return band_; }

    /// The view's levels, from its lower edge upwards, each the highest of the bins it covers, so
    /// that a carrier keeps its level however many bins share a point. 0 outside the band.
    void cut(const View& view, std::span<std::uint8_t, rowPoints> points) const;

    /// dBFS of all that lies between two frequencies, in Hz.
    double levelBetween(double low, double high) const;

private:
    std::uint8_t highest(std::size_t octave, double from, double to) const;

    View band_;
    /// The levels, then the higher ones of each two neighbours, and so on, up to one bin a point
    /// of the whole band.
    std::vector<std::vector<std::uint8_t>> octaves_;
    std::vector<float> powers_;
};

} // namespace feedline::hub::web
