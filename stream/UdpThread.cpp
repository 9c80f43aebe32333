// SPDX-License-Identifier: MIT
// Drains the HF+ sample ring to the network for as long as the control server runs. Samples that
// arrived while no such thread ran are sent first, oldest first, as fast as they go.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"
#include "stream/DatagramSocket.h"
#include "stream/SampleRing.h"

#include <unistd.h>

namespace feedline {
namespace {

constexpr useconds_t pollInterval = 100; ///< microseconds

class RingSender {
public:
    explicit RingSender(int socket) : socket_(socket) {}

    /// Sends one datagram if the ring holds enough for it; false when it does not.
    bool sendSlice() {
        if (!takeSlice(buffer_.samples()))
            return false;
        datagram::putHeader(buffer_.data(), sequence_++);
        datagram::samplesToWire(buffer_.data());
        sendDatagram(socket_, buffer_, destination_); // When it fails, the slice is gone.
        return true;
    }

private:
    DatagramBuffer buffer_;
    sockaddr_in destination_ = datagramDestination();
    int socket_;
    std::uint16_t sequence_ = 0;
};

} // namespace

void AppDelegate::UDPThread() {
    logLine("*** UDP Thread  %d", 0);
    const int socket = makeDatagramSocket();
    if (socket < 0) {
        printText("cannot create UDP send socket\n");
        return;
    }
    RingSender sender(socket);
    while (serverActive)
        if (!sender.sendSlice())
            ::usleep(pollInterval);
    printText("UDPThread exit\n");
    // The socket stays open: every run leaves one behind, and the descriptor limit is raised for
    // that.
}

} // namespace feedline
