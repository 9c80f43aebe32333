// SPDX-License-Identifier: MIT
#include "stream/DatagramSocket.h"

#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <arpa/inet.h>
#include <sys/socket.h>

namespace feedline {

int makeDatagramSocket() {
    return ::socket(AF_INET, SOCK_DGRAM, 0);
}

sockaddr_in datagramDestination() {
    sockaddr_in destination{};
    destination.sin_family = AF_INET;
    destination.sin_addr.s_addr = ::inet_addr(udpAddress.str().c_str());
    destination.sin_port = htons(static_cast<std::uint16_t>(serverPortNumber));
    return destination;
}

void sendDatagram(int socket, const DatagramBuffer& buffer, const sockaddr_in& destination) {
    if (::sendto(socket, buffer.data(), DatagramBuffer::size(), 0,
                 reinterpret_cast<const sockaddr*>(&destination), sizeof destination) < 0)
        printText("sendto failed\n");
}

} // namespace feedline
