// SPDX-License-Identifier: MIT
// Places in a loop of values, which a stream at another rate walks through.
#pragma once

#include <cstdint>

namespace feedline::emulator {

/// Places count in units of 2^-32 of a value.
inline constexpr std::uint64_t onePlace = std::uint64_t{1} << 32;

/// Where the sample at `position` is in a loop of `values` (at most 2^31) when each sample goes
/// `step` further: their product modulo the loop's length. It can have 128 bits, which not every
/// machine computes with, so it is put together from products of 32 bits each.
constexpr std::uint64_t placeInLoop(std::uint64_t position, std::uint64_t step,
                                    std::uint64_t values) {
    const auto product = [=](std::uint64_t a, std::uint64_t b) {
        return a % values * (b % values) % values;
    };
    const std::uint64_t whole = step / onePlace;
    const std::uint64_t part = step % onePlace;
    const std::uint64_t length = values * onePlace;
    // Of position * step the high half counts whole values, and so does the low half times `whole`.
    const std::uint64_t places =
        (product(position / onePlace, step) + product(position % onePlace, whole)) % values;
    return (places * onePlace + position % onePlace * part % length) % length;
}

} // namespace feedline::emulator
