// SPDX-License-Identifier: MIT
// What one listener hears of the received band: its own centre frequency at its own rate.
//
// A channel that wants exactly what is received (the received frequency and rate, or whatever they
// are) copies the received samples bit for bit, within 5 ms. Every other is cut by fast convolution
// from the transform that all channels share: at most 40 ms later, flat within 0.1 dB over 80 % of
// its width (70 % below 16,000), everything else at least 100 dB down (at 8,000 the outer 15 % on
// each side may hold aliases).
#pragma once

#include "tools/hub/band/Block.h"

#include <complex>
#include <cstdint>
#include <memory>
#include <span>

namespace feedline::hub {

class Band;

/// What a channel is to give.
struct ChannelRequest {
    /// The whole band as it is received, whatever frequency and rate that is: the two values below
    /// are then not looked at.
    bool wholeBand = false;
    std::uint32_t frequency = 0; ///< centre frequency, Hz; 0: the received one as it is at the time
    std::uint32_t rate = 0;      ///< IQ pairs a second; 0: the received one as it is at the time
};

/// What one read gave: IQ pairs that follow each other without a gap, all under the same values.
struct Reading {
    std::size_t pairs = 0;  ///< written to the destination; 0: nothing new yet
    Position position = 0;  ///< of the first pair, in pairs at the channel's rate since it was
                            ///< opened, lost ones counted; never goes back
    std::uint64_t lost = 0; ///< pairs missing just before the first one, for whatever reason
    bool fresh = false;     ///< the first pair does not continue the one before: the receiver, the
                            ///< rate or the way of cutting has changed
    bool silent = false;    ///< zeros: the channel's frequency is outside the received band
    std::uint32_t frequency = 0; ///< centre frequency of these pairs, Hz
    std::uint32_t rate = 0;      ///< IQ pairs a second of these pairs
    Clock::time_point arrival;   ///< when the newest received sample in these pairs came in
};

/// Losses of one channel, in pairs at its own rate.
struct ChannelLosses {
    std::uint64_t upstream = 0; ///< never reached the hub; short gaps are filled with zeros
    std::uint64_t own = 0;      ///< this reader was too slow for the shared window
};

/// For one thread at a time (the output's); the band is written meanwhile by its own. Reading costs
/// that thread the slice, the filter and the small inverse transform, and nobody else anything.
class Channel {
public:
    /// Hears what comes from now on. The band must outlive the channel.
    Channel(Band& band, const ChannelRequest& request);
    ~Channel();
    Channel(Channel&&) noexcept;
    Channel& operator=(Channel&&) noexcept;

    /// Takes effect with the next block; a frequency alone moves without a jump in the
    /// oscillator's phase.
    void request(const ChannelRequest& request);
    const ChannelRequest& requested() const;

    /// As many pairs as there are and have room: floats of full scale +-1.0.
    Reading read(std::span<std::complex<float>> to);
    /// The same as 16-bit numbers I, Q, I, Q, ...; the size must be even.
    Reading read(std::span<std::int16_t> to);

    /// Any thread. Whether a read would now find something in what Band's Written has announced.
    bool waitsFor(bool newBlocks, bool newSpectrum) const;

    /// Leaves out what waits, without counting it as lost.
    void skip();

    std::uint32_t frequency() const; ///< Hz, as the next pairs will have it
    std::uint32_t rate() const;      ///< as the next pairs will have it; 0 while unknown
    bool exact() const;              ///< gives the received samples bit for bit
    bool covered() const;            ///< its frequency is inside the received band
    const ChannelLosses& losses() const;

private:
    class Body;
    std::unique_ptr<Body> body_;
};

} // namespace feedline::hub
