// SPDX-License-Identifier: MIT
// The data datagram: 256 IQ pairs under a four-byte header, the whole payload of one UDP datagram.
// All fields are little-endian. Drawn byte by byte in docs/protocol.md.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace feedline::datagram {

constexpr std::size_t headerSize = 2;      ///< bytes: message type and length, see below
constexpr std::size_t sequenceSize = 2;    ///< bytes: counts datagrams, wraps from 65535 to 0
constexpr std::size_t pairs = 256;         ///< IQ pairs
constexpr std::size_t entries = 2 * pairs; ///< 16-bit values: I, Q, I, Q, ...
constexpr std::size_t sampleBytes = entries * sizeof(std::int16_t);
constexpr std::size_t sampleOffset = headerSize + sequenceSize;
constexpr std::size_t size = headerSize + sequenceSize + sampleBytes;
static_assert(size == 1028);

/// The header word: type 4 in bits 13 to 15, the datagram's own length in bits 0 to 12.
constexpr std::uint16_t header = (4U << 13U) | size;
static_assert(header == 0x8404);

/// Writes a 16-bit value low byte first, on any host.
inline void putLittleEndian(std::uint8_t* to, std::uint16_t value) {
    to[0] = static_cast<std::uint8_t>(value & 0xFFU);
    to[1] = static_cast<std::uint8_t>(value >> 8U);
}

inline void putHeader(std::uint8_t* datagram, std::uint16_t sequence) {
    putLittleEndian(datagram, header);
    putLittleEndian(datagram + headerSize, sequence);
}

/// Turns the samples of a datagram, copied there in host order, into the wire's order.
inline void samplesToWire([[maybe_unused]] std::uint8_t* datagram) {
    if constexpr (std::endian::native != std::endian::little) {
        for (std::uint8_t* at = datagram + sampleOffset; at != datagram + size; at += 2) {
            std::uint16_t value = 0;
            std::memcpy(&value, at, sizeof value);
            putLittleEndian(at, value);
        }
    }
}

} // namespace feedline::datagram
