// SPDX-License-Identifier: MIT
// What the AirSpy sender and the UDP thread share: a datagram socket and where its datagrams go.
#pragma once

#include "stream/DataDatagram.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>

namespace feedline {

/// A datagram under construction. Its samples, not its header, begin a cache line: copied to an odd
/// offset they would take several times as long.
class DatagramBuffer {
public:
    std::uint8_t* data() { return bytes_.data() + padding; }
    const std::uint8_t* data() const { return bytes_.data() + padding; }
    std::uint8_t* samples() { return data() + datagram::sampleOffset; }
    static constexpr std::size_t size() { return datagram::size; }

private:
    static constexpr std::size_t cacheLine = 64;
    static constexpr std::size_t padding = cacheLine - datagram::sampleOffset;
    alignas(cacheLine) std::array<std::uint8_t, padding + datagram::size> bytes_{};
};

/// A new UDP socket; negative when the system refuses.
int makeDatagramSocket();

/// The configured address and port as they are now. An address that cannot be read becomes
/// 255.255.255.255, to which the system sends nothing.
sockaddr_in datagramDestination();

/// Sends the datagram with one `sendto`; says so on standard output when that fails.
void sendDatagram(int socket, const DatagramBuffer& buffer, const sockaddr_in& destination);

} // namespace feedline
