// What both senders share: a datagram socket and where its datagrams go.
#pragma once

#include "stream/DataDatagram.h"

#include <array>
#include <cstdint>
#include <netinet/in.h>

namespace feedline {

using DatagramBuffer = std::array<std::uint8_t, datagram::size>;

/// A new UDP socket; negative when the system refuses.
int makeDatagramSocket();

/// The configured address and port as they are now. An address that cannot be read becomes
/// 255.255.255.255, to which the system sends nothing.
sockaddr_in datagramDestination();

/// Sends the datagram with one `sendto`; says so on standard output when that fails.
void sendDatagram(int socket, const DatagramBuffer& buffer, const sockaddr_in& destination);

} // namespace feedline
