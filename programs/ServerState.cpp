// SPDX-License-Identifier: MIT
#include "programs/ServerState.h"

#include "app/RunTimeState.h"

#include <algorithm>
#include <sys/socket.h>

namespace feedline {
namespace {

bool isListener(int socket) {
    int accepts = 0;
    socklen_t size = sizeof accepts;
    return getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &accepts, &size) == 0 && accepts != 0;
}

} // namespace

/// The status alone does not tell: it says "waiting" after a failed launch and after a restart,
/// too. A failed bind leaves its socket behind, which does not accept. A restart that comes in
/// between accept and service leaves the status "connected" and one of the sockets; it shows in
/// `serverActive`.
bool listening() {
    if (!serverActive || !isListener(listenSocket))
        return false;
    const std::int32_t status = tcpStatus;
    return status == tcpWaiting || (status == tcpConnected && clientSocket != -1);
}

bool launchFailed() {
    return tcpThread == std::thread::id{};
}

bool launchIsOver() {
    return launchFailed() || listening() || tcpStatus != tcpWaiting;
}

std::int64_t openDevice() {
    if (hfDevice != nullptr)
        return deviceAirspyHf;
    return airspyDevice != nullptr ? deviceAirspy : -1;
}

void HeldDevices::look() {
    const std::int64_t open = openDevice();
    const auto place = std::ranges::lower_bound(list_, open);
    if (open != -1 && (place == list_.end() || *place != open))
        list_.insert(place, open);
}

} // namespace feedline
