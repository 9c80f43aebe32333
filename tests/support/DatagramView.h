// SPDX-License-Identifier: MIT
// The fields of a data datagram, read by the tests' own arithmetic and not by the server's.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

namespace feedline::test {

constexpr std::size_t datagramBytes = 1028;
constexpr std::size_t pairsPerDatagram = 256;

/// Refers to bytes that somebody else keeps. Whoever asks for a field has looked at the length.
class DatagramView {
public:
    explicit DatagramView(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    /// Whether length and header are those of a data datagram.
    bool wellFormed() const {
        return bytes_.size() == datagramBytes && bytes_[0] == 0x04 && bytes_[1] == 0x84;
    }

    std::uint16_t number() const { return wordAt(2); }

    /// @param index  0 to 511: I, Q, I, Q and so on
    std::int16_t entry(std::size_t index) const {
        return static_cast<std::int16_t>(wordAt(4 + 2 * index));
    }

    /// Full scale is 1.
    std::complex<float> pair(std::size_t index) const {
        return {static_cast<float>(entry(2 * index)) / 32767.0F,
                static_cast<float>(entry(2 * index + 1)) / 32767.0F};
    }

private:
    std::uint16_t wordAt(std::size_t at) const {
        return static_cast<std::uint16_t>(bytes_[at] | bytes_[at + 1] << 8U);
    }

    std::span<const std::uint8_t> bytes_;
};

} // namespace feedline::test
