// SPDX-License-Identifier: MIT
// The control message: a two-byte header (13-bit length, 3-bit type), a 16-bit control item code
// and parameters, all little-endian. Drawn byte by byte in docs/protocol.md.
//
// The server reads and writes the length through the header's first byte alone; the five length
// bits of the second byte are never looked at and always sent as zero.
#pragma once

#include <cstddef>
#include <cstdint>

namespace feedline {

namespace control {

constexpr std::size_t headerSize = 2;        ///< bytes: length and type
constexpr std::size_t itemSize = 2;          ///< bytes: control item code
constexpr std::size_t largestPayload = 8192; ///< bytes that a length of 0 stands for
constexpr std::size_t largestMessage = headerSize + largestPayload;
constexpr std::uint8_t typeMask = 0xE0; ///< the type's bits in the header's second byte

} // namespace control

/// Message types, with their bits in place in the header's second byte.
enum MessageType : std::uint8_t {
    TYPE_TARG_RESP_CITEM = 0x00, ///< from a client: set an item; from the server: every reply
    TYPE_REQUEST_CITEM = 0x20,   ///< from a client: ask for an item's value
};

/// Control item codes.
enum ControlItem : std::uint16_t {
    itemTargetName = 0x0001,
    itemSerialNumber = 0x0002,
    itemNumber0004 = 0x0004,
    itemReceiverStatus = 0x0005,
    itemReceiverState = 0x0018,
    itemReceiverFrequency = 0x0020,
    itemSampleRate = 0x00B8,
};

} // namespace feedline
