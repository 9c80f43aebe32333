#include "LoopbackSockets.h"

#include "app/RunTimeState.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>
#include <unistd.h>

namespace feedline::test {
namespace {

int checked(int result, const char* call) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), call);
    return result;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

std::uint16_t portOf(int socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    checked(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    return ntohs(address.sin_port);
}

void limitWaits(int socket) {
    const timeval generous{60, 0};
    checked(::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &generous, sizeof generous), "timeout");
    checked(::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &generous, sizeof generous), "timeout");
}

bool inputWaits(int socket) {
    pollfd waiting{socket, POLLIN, 0};
    return ::poll(&waiting, 1, 0) > 0;
}

} // namespace

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%s%02X", text.empty() ? "" : " ", byte);
        text += digits.data();
    }
    return text;
}

void OwnedDescriptor::close() {
    if (descriptor_ >= 0)
        ::close(std::exchange(descriptor_, -1));
}

ReservedPort::ReservedPort() : socket_(checked(::socket(AF_INET, SOCK_STREAM, 0), "socket")) {
    const int on = 1;
    checked(::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "reuse");
    sockaddr_in anywhere{};
    anywhere.sin_family = AF_INET;
    checked(::bind(socket_.get(), generic(anywhere), sizeof anywhere), "bind");
    number_ = portOf(socket_.get());
}

void ReservedPort::occupy() {
    checked(::listen(socket_.get(), 1), "listen");
}

ControlClient::ControlClient(std::uint16_t port)
    : socket_(checked(::socket(AF_INET, SOCK_STREAM, 0), "socket")) {
    limitWaits(socket_.get());
    const sockaddr_in server = loopback(port);
    checked(::connect(socket_.get(), generic(server), sizeof server), "connect");
}

void ControlClient::send(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        checked(static_cast<int>(sent), "send");
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
}

std::string ControlClient::receive(std::size_t count) {
    Bytes bytes(count);
    const ssize_t got = ::recv(socket_.get(), bytes.data(), count, MSG_WAITALL);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return hex(bytes);
}

bool ControlClient::hasInput() const {
    return inputWaits(socket_.get());
}

Bytes ControlClient::takeInput() {
    Bytes bytes(65536);
    const ssize_t got = ::recv(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

void ControlClient::finish() {
    checked(::shutdown(socket_.get(), SHUT_WR), "shutdown");
    while (receive(4096).size() == 3 * 4096 - 1) {
    }
    socket_.close();
}

void ControlClient::reset() {
    const linger atOnce{1, 0};
    checked(::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce), "linger");
    socket_.close();
}

ReplyPeer::ReplyPeer() {
    std::array<int, 2> ends{};
    checked(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), "socketpair");
    serverEnd_ = OwnedDescriptor(ends[0]);
    clientEnd_ = OwnedDescriptor(ends[1]);
    clientSocket = ends[0];
}

ReplyPeer::~ReplyPeer() {
    clientSocket = -1;
}

std::vector<std::string> ReplyPeer::take() {
    std::vector<std::string> replies;
    Bytes bytes(512);
    ssize_t got = 0;
    while ((got = ::recv(clientEnd_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT)) >= 0)
        replies.push_back(hex(std::span(bytes).first(static_cast<std::size_t>(got))));
    return replies;
}

DatagramReceiver::DatagramReceiver()
    : socket_(checked(::socket(AF_INET, SOCK_DGRAM, 0), "socket")) {
    limitWaits(socket_.get());
    const sockaddr_in anyPort = loopback(0);
    checked(::bind(socket_.get(), generic(anyPort), sizeof anyPort), "bind");
    const int room = 4 << 20; // The system gives what it allows; no test relies on more than that.
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    port_ = portOf(socket_.get());
}

Bytes DatagramReceiver::receive() {
    Bytes bytes(2048);
    const ssize_t got = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

bool DatagramReceiver::hasInput() const {
    return inputWaits(socket_.get());
}

} // namespace feedline::test
