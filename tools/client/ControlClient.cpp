#include "tools/client/ControlClient.h"

#include "tools/client/Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>

namespace feedline::client {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = ControlClient::Seconds;

constexpr Seconds pauseBetweenTries{0.25};

Clock::time_point after(Seconds seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(seconds);
}

// Waits until the descriptor is ready; false when the time is over.
bool waitFor(int fd, short events, Clock::time_point end) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd waiting{fd, events, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        if (ready > 0)
            return true;
        if (ready == 0)
            return false;
    }
}

sockaddr_in resolve(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int error = getaddrinfo(host.c_str(), nullptr, &hints, &found); error != 0)
        throw Failure(Trouble::noServer, "cannot find " + host + ": " + gai_strerror(error));
    sockaddr_in address{};
    std::memcpy(&address, found->ai_addr, sizeof address);
    freeaddrinfo(found);
    address.sin_port = htons(port);
    return address;
}

// One try. The error number, 0 on success.
int tryConnect(int fd, const sockaddr_in& address, Seconds timeout) {
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    if (!waitFor(fd, POLLOUT, after(timeout)))
        return ETIMEDOUT;
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
    return error;
}

UniqueFd connectTo(const std::string& server, const sockaddr_in& address, Seconds timeout,
                   Seconds wait) {
    const auto giveUp = after(wait);
    for (;;) {
        UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const int error = tryConnect(fd.get(), address, timeout);
        if (error == 0)
            return fd;
        if (error != ECONNREFUSED || Clock::now() >= giveUp)
            throw Failure(Trouble::noServer,
                          "cannot connect to " + server + ": " + std::strerror(error));
        std::this_thread::sleep_for(pauseBetweenTries);
    }
}

std::string text(const ControlClient::Bytes& parameters) {
    return {parameters.begin(), std::find(parameters.begin(), parameters.end(), 0)};
}

} // namespace

ControlClient::ControlClient(const std::string& host, std::uint16_t port, Seconds timeout,
                             Seconds wait)
    : server_(host + ":" + std::to_string(port)), timeout_(timeout),
      socket_(connectTo(server_, resolve(host, port), timeout, wait)) {}

std::string ControlClient::targetName() {
    return text(request(itemTargetName));
}

std::string ControlClient::serialNumber() {
    return text(request(itemSerialNumber));
}

std::uint16_t ControlClient::item0004() {
    const Bytes value = request(itemNumber0004);
    if (value.size() != 2)
        fail("answered item 0x0004 with " + std::to_string(value.size()) + " bytes instead of 2");
    return static_cast<std::uint16_t>(value[0] | (value[1] << 8));
}

std::uint8_t ControlClient::status() {
    const Bytes value = request(itemReceiverStatus);
    if (value.size() != 1)
        fail("answered the status request with " + std::to_string(value.size()) +
             " bytes instead of 1");
    return value[0];
}

void ControlClient::setRunning(bool running) {
    constexpr std::uint8_t complexSamples = 0x80;
    const std::uint8_t state = running ? 2 : 1;
    set(itemReceiverState, {complexSamples, state, 0, 0});
}

void ControlClient::setFrequency(std::uint32_t hertz) {
    Bytes parameters{0};
    for (unsigned shift = 0; shift < 32; shift += 8)
        parameters.push_back(static_cast<std::uint8_t>((hertz >> shift) & 0xFFU));
    parameters.push_back(0);
    set(itemReceiverFrequency, parameters);
}

bool ControlClient::alive() {
    std::array<std::uint8_t, 256> unasked{};
    for (;;) {
        const ssize_t count = recv(socket_.get(), unasked.data(), unasked.size(), MSG_DONTWAIT);
        if (count <= 0)
            return count < 0 && (errno == EAGAIN || errno == EINTR);
    }
}

ControlClient::Bytes ControlClient::request(ControlItem item) {
    return exchange(TYPE_REQUEST_CITEM, item, {});
}

// What was set comes back.
void ControlClient::set(ControlItem item, const Bytes& parameters) {
    if (exchange(TYPE_TARG_RESP_CITEM, item, parameters) != parameters)
        fail("did not confirm what was set");
}

ControlClient::Bytes ControlClient::exchange(MessageType type, ControlItem item,
                                             const Bytes& parameters) {
    constexpr std::size_t front = control::headerSize + control::itemSize;
    Bytes message{static_cast<std::uint8_t>(front + parameters.size()), type,
                  static_cast<std::uint8_t>(item & 0xFFU), static_cast<std::uint8_t>(item >> 8U)};
    message.insert(message.end(), parameters.begin(), parameters.end());
    const auto begin = Clock::now();
    send(message);
    Bytes answer = receive();
    roundTrip_ = Clock::now() - begin;
    if (answer.size() < front || (answer[1] & control::typeMask) != TYPE_TARG_RESP_CITEM ||
        answer[2] != message[2] || answer[3] != message[3])
        fail("answered something else than was asked");
    return {answer.begin() + front, answer.end()};
}

void ControlClient::send(const Bytes& message) {
    // A handful of bytes on a connection with nothing else under way: they fit or it is broken.
    const ssize_t sent = ::send(socket_.get(), message.data(), message.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(message.size()))
        fail("closed the connection");
}

ControlClient::Bytes ControlClient::receive() {
    const auto end = after(timeout_);
    Bytes message;
    receiveInto(message, control::headerSize, end);
    const std::size_t length = message[0] == 0 ? control::largestMessage : message[0];
    receiveInto(message, length, end);
    return message;
}

// Brings the message to `length` bytes.
void ControlClient::receiveInto(Bytes& message, std::size_t length, Clock::time_point end) {
    std::size_t have = message.size();
    message.resize(std::max(length, have));
    while (have < length) {
        if (!waitFor(socket_.get(), POLLIN, end))
            fail(have == 0 ? "does not answer; another client may be connected, and the others wait"
                           : "stopped in the middle of an answer");
        const ssize_t count = recv(socket_.get(), message.data() + have, length - have, 0);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
            fail(have == 0 ? "closed the connection"
                           : "closed the connection in the middle of an answer");
        have += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void ControlClient::fail(const std::string& what) const {
    throw Failure(Trouble::noAnswer, server_ + " " + what);
}

} // namespace feedline::client
