// SPDX-License-Identifier: MIT
// The control port: one listener, one client at a time. The only way back to listening is a client
// that has gone; five seconds later everything is set up anew, the UDP thread included, on the port
// then in its field.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/Log.h"
#include "platform/Thread.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <functional>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace feedline {
namespace {

using namespace std::chrono_literals;

constexpr auto setUpDelay = 5s;
constexpr auto pauseBeforeReceive = 1ms;
constexpr int backlog = 3;
constexpr std::size_t receiveBufferSize = 2000; ///< bytes

using Descriptor = Shared<std::int32_t>;

/// Closes the socket unless another thread has taken it already. Only a shutdown wakes a thread
/// that is blocked in accept or receive on it.
void closeSocket(Descriptor& variable) {
    const std::int32_t taken = variable.exchange(-1);
    if (taken == -1)
        return;
    ::shutdown(taken, SHUT_RDWR);
    ::close(taken);
}

/// The TCP thread's own descriptor of a socket that a restart on the main thread may shut down and
/// close. A number that the thread blocks on, or is about to, is closed by nobody else, and so
/// cannot become another file's meanwhile.
class OwnDescriptor {
public:
    OwnDescriptor() = default;
    OwnDescriptor(const OwnDescriptor&) = delete;
    OwnDescriptor& operator=(const OwnDescriptor&) = delete;
    ~OwnDescriptor() {
        if (own_ != -1)
            ::close(own_);
    }

    /// Keeps a descriptor of its own of the new socket and hands `made` itself over to the shared
    /// variable; false when there is no socket, or no descriptor left for a second one.
    bool share(int made, Descriptor& variable) {
        if (made >= 0 && (own_ = ::dup(made)) == -1) {
            ::close(made);
            made = -1;
        }
        variable.exchange(made);
        return made >= 0;
    }
    int get() const { return own_; }

private:
    int own_ = -1;
};

std::thread::id startServerThread(const char* name, std::function<void()> body) {
    const std::thread::id id = startDetachedThread(name, std::move(body));
    if (id == std::thread::id{})
        logLine("%s could not be started", name);
    return id;
}

bool bindToPort(int socket, std::int32_t port) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons(static_cast<std::uint16_t>(port));
    const int on = 1;
    if (::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == -1)
        printText("setsockopt\n");
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&local), sizeof local) >= 0;
}

/// Makes the listening socket; false, with the status set, when the port cannot be had.
bool startListening(OwnDescriptor& listener) {
    if (!listener.share(::socket(AF_INET, SOCK_STREAM, 0), listenSocket)) {
        printText("TCPThread Could not create socket");
        return false;
    }
    printText("TCPThread Socket created\n");
    if (!bindToPort(listener.get(), serverPortNumber)) {
        printText("TCPThread bind failed. Error\n");
        tcpStatus = tcpBindFailed;
        return false; // The socket stays open, and nothing tries again before a new launch.
    }
    printText("TCPThread bind done\n");
    ::listen(listener.get(), backlog);
    return true;
}

/// Waits for a client; false, with the status set, when accepting failed.
bool acceptClient(const OwnDescriptor& listener, OwnDescriptor& connection) {
    printText("TCPThread Waiting for incoming connections...\n");
    sockaddr_in client{};
    socklen_t length = sizeof client;
    // A restart that came before the socket listened has woken nobody up: it is seen here.
    const int waitOn = listenSocket == -1 ? -1 : listener.get();
    const int accepted = ::accept(waitOn, reinterpret_cast<sockaddr*>(&client), &length);
    if (!connection.share(accepted, clientSocket)) {
        printText("TCPThread accept failed client_sock = %d \r\n", clientSocket.load());
        tcpStatus = tcpConnectFailed;
        return false;
    }
    std::array<char, INET_ADDRSTRLEN> dotted{};
    ::inet_ntop(AF_INET, &client.sin_addr, dotted.data(), dotted.size());
    remoteAddressRaw = client.sin_addr.s_addr;
    remoteAddress.assign(dotted.data());
    printText("TCPThread Connection accepted %d  %x  %s\r", accepted, remoteAddressRaw.load(),
              dotted.data());
    tcpStatus = tcpConnected;
    return true;
}

} // namespace

void AppDelegate::SetUpTcpServer() {
    logLine("SetUpTcpServer");
    serverPortNumber = serverPort->intValue();
    logLine("portToUse %d", serverPortNumber.load());
    serverActive = true;
    udpThread = startServerThread("UDPThread", [this] { UDPThread(); });
    tcpThread = startServerThread("TCPThread", [this] { TCPThread(); });
}

void AppDelegate::SetUpTcpServerAfterDelay() {
    logLine("SetUpTcpServerAfterDelay");
    platform_.mainThread.performAfterDelay(setUpDelay, [this] { SetUpTcpServer(); });
}

void AppDelegate::TCPThread() {
    tcpStatus = tcpWaiting;
    // A restart between accept and here has closed what it found and wants no server: the client is
    // left as it is.
    OwnDescriptor listener;
    OwnDescriptor connection;
    if (startListening(listener) && acceptClient(listener, connection) && serverActive)
        serveClient(connection.get());
}

void AppDelegate::serveClient(int connection) {
    do {
        std::this_thread::sleep_for(pauseBeforeReceive);
        switch (receiveUntilNothingComes(connection)) {
        case 0:
            return cleanUpAfterClient("TCPThread Client disconnected\n");
        case -1:
            return cleanUpAfterClient("TCPThread recv failed\n");
        default: // No result of a receive: neither an end nor a failure, so it is tried again.
            break;
        }
    } while (serverActive);
}

ssize_t AppDelegate::receiveUntilNothingComes(int connection) {
    std::array<std::uint8_t, receiveBufferSize> buffer{};
    ssize_t received = 0;
    while ((received = ::recv(connection, buffer.data(), buffer.size(), 0)) > 0)
        myDidReadData(buffer.data(), static_cast<std::int32_t>(received));
    return received;
}

void AppDelegate::cleanUpAfterClient(const char* reason) {
    printText("%s", reason);
    serverActive = false;
    closeSocket(clientSocket);
    closeSocket(listenSocket);
    tcpStatus = tcpDisconnected;
    remoteAddressRaw = 0;
    remoteAddress.clear();
    platform_.mainThread.perform([this] { SetUpTcpServerAfterDelay(); });
}

void AppDelegate::restartServer() {
    doDeviceInit();
    serverActive = false;
    tcpStatus = tcpWaiting;
    closeSocket(listenSocket);
    closeSocket(clientSocket);
}

} // namespace feedline
