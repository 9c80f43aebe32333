// SPDX-License-Identifier: MIT
// The ways to turn a station into sound, and what each one needs.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace feedline::hub::web {

enum class Mode { am, usb, lsb, cw, nfm, wfm };

/// Pass-band, in Hz from the frequency tuned to.
struct Edges {
    double low = 0;
    double high = 0;
    bool operator==(const Edges&) const = default;
};

struct ModeTraits {
    Mode mode;
    std::string_view name; ///< on the wire: "am", "usb", ...
    int channelRate;       ///< IQ pairs a second that the demodulator takes
    int audioRate;         ///< samples a second that it makes; divides channelRate
    Edges edges;           ///< when nobody has chosen any
    Edges limits;          ///< the widest pass-band; inside the flat part of the channel
    double narrowest;      ///< Hz between the edges
};

/// AM and FM are demodulated at twice the rate of their sound, because the envelope and the
/// discriminator widen what they are given.
inline constexpr std::array<ModeTraits, 6> modes{{
    {Mode::am, "am", 24000, 12000, {-4500, 4500}, {-5800, 5800}, 200},
    {Mode::usb, "usb", 12000, 12000, {150, 2850}, {-4000, 4000}, 50},
    {Mode::lsb, "lsb", 12000, 12000, {-2850, -150}, {-4000, 4000}, 50},
    {Mode::cw, "cw", 12000, 12000, {-250, 250}, {-1500, 1500}, 50},
    {Mode::nfm, "nfm", 24000, 12000, {-6250, 6250}, {-9000, 9000}, 1000},
    {Mode::wfm, "wfm", 240000, 48000, {-96000, 96000}, {-96000, 96000}, 20000},
}};

constexpr const ModeTraits& traits(Mode mode) {
    return modes[static_cast<std::size_t>(mode)];
}

/// Nothing for a name that is none.
std::optional<Mode> modeCalled(std::string_view name);

/// The edges as near to `wanted` as the mode allows. Not a number counts as the mode's own edge.
Edges allowedEdges(Mode mode, Edges wanted);

/// Hz of the tone that a carrier exactly at the frequency tuned to makes in CW.
inline constexpr double cwPitch = 700;

} // namespace feedline::hub::web
