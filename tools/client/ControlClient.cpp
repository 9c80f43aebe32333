// SPDX-License-Identifier: MIT
#include "tools/client/ControlClient.h"

#include "tools/client/Addresses.h"
#include "tools/client/Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace feedline::client {

namespace {

using Clock = std::chrono::steady_clock;

constexpr Seconds pauseBetweenTries{0.25};
constexpr std::size_t front = control::headerSize + control::itemSize;

Clock::time_point after(Seconds seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(seconds);
}

// Waits until the descriptor (-1: none) is ready; false when the time is over.
bool waitFor(int fd, short events, Clock::time_point end, int cancel) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        std::array<pollfd, 2> waiting{{{fd, events, 0}, {cancel, POLLIN, 0}}};
        const int ready = poll(waiting.data(), waiting.size(),
                               static_cast<int>(std::clamp<std::int64_t>(left, 0, 3'600'000)));
        if (waiting[1].revents != 0)
            throw Failure(Trouble::cancelled, "cancelled");
        if (ready > 0)
            return true;
        if (ready == 0 && Clock::now() >= end)
            return false;
    }
}

// A machine that vanishes says nothing; without this an idle connection would never know.
void keepAlive(int fd) {
    const auto option = [fd](int level, int name, int value) {
        setsockopt(fd, level, name, &value, sizeof value);
    };
    option(SOL_SOCKET, SO_KEEPALIVE, 1);
    option(IPPROTO_TCP, TCP_KEEPIDLE, 10);
    option(IPPROTO_TCP, TCP_KEEPINTVL, 5);
    option(IPPROTO_TCP, TCP_KEEPCNT, 3);
    option(IPPROTO_TCP, TCP_NODELAY, 1);
}

UniqueFd makeSocket(const std::string& bindAddress) {
    UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    keepAlive(fd.get());
    if (bindAddress.empty())
        return fd;
    const sockaddr_in local = dottedAddress(bindAddress, 0);
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        throw Failure(Trouble::portInUse,
                      "cannot connect from " + bindAddress + ": " + std::strerror(errno));
    return fd;
}

// One try. The error number, 0 on success.
int tryConnect(int fd, const sockaddr_in& address, const TimeLimits& limits) {
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    if (!waitFor(fd, POLLOUT, after(limits.timeout), limits.cancel))
        return ETIMEDOUT;
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
    return error;
}

UniqueFd connectTo(const Endpoint& endpoint, const TimeLimits& limits) {
    const sockaddr_in address = resolve(endpoint.host, endpoint.port);
    const auto giveUp = after(limits.wait);
    for (;;) {
        UniqueFd fd = makeSocket(endpoint.bind);
        const int error = tryConnect(fd.get(), address, limits);
        if (error == 0)
            return fd;
        if (error != ECONNREFUSED || Clock::now() >= giveUp)
            throw Failure(Trouble::noServer,
                          "cannot connect to " + endpoint.server() + ": " + std::strerror(error));
        waitFor(-1, 0, after(pauseBetweenTries), limits.cancel);
    }
}

std::string text(const ControlClient::Bytes& parameters) {
    return {parameters.begin(), std::find(parameters.begin(), parameters.end(), 0)};
}

ControlClient::Bytes messageOf(MessageType type, ControlItem item,
                               const ControlClient::Bytes& parameters) {
    ControlClient::Bytes message{static_cast<std::uint8_t>(front + parameters.size()), type,
                                 static_cast<std::uint8_t>(item & 0xFFU),
                                 static_cast<std::uint8_t>(item >> 8U)};
    message.insert(message.end(), parameters.begin(), parameters.end());
    return message;
}

bool isAbout(const ControlClient::Bytes& answer, ControlItem item) {
    return answer.size() >= front && (answer[1] & control::typeMask) == TYPE_TARG_RESP_CITEM &&
           answer[2] == (item & 0xFFU) && answer[3] == item >> 8U;
}

bool isRefusal(const ControlClient::Bytes& answer) {
    return answer == ControlClient::Bytes{control::headerSize, 0};
}

ControlClient::Bytes stateParameters(bool running) {
    constexpr std::uint8_t complexSamples = 0x80;
    const std::uint8_t state = running ? 2 : 1;
    return {complexSamples, state, 0, 0};
}

// A leading byte and 32 bits, least significant byte first.
constexpr std::size_t wordSize = 5;
void putWord(ControlClient::Bytes& parameters, std::uint32_t value) {
    parameters.push_back(0);
    for (unsigned shift = 0; shift < 32; shift += 8)
        parameters.push_back(static_cast<std::uint8_t>((value >> shift) & 0xFFU));
}
std::uint32_t wordOf(const ControlClient::Bytes& parameters) {
    std::uint32_t value = 0;
    for (std::size_t at = wordSize - 1; at > 0; --at)
        value = value << 8U | parameters[at];
    return value;
}

} // namespace

ControlClient::ControlClient(const Endpoint& endpoint, const TimeLimits& limits)
    : server_(endpoint.server()), limits_(limits), socket_(connectTo(endpoint, limits)) {}

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

std::optional<std::uint32_t> ControlClient::sampleRate() {
    Bytes questions = messageOf(TYPE_REQUEST_CITEM, itemSampleRate, {0});
    const Bytes status = messageOf(TYPE_REQUEST_CITEM, itemReceiverStatus, {});
    questions.insert(questions.end(), status.begin(), status.end());
    send(questions);
    const auto end = after(limits_.timeout);
    Bytes answer = receive(end);
    std::optional<std::uint32_t> rate;
    if (isAbout(answer, itemSampleRate)) {
        if (answer.size() != front + wordSize)
            fail("answered the question for its sample rate with " +
                 std::to_string(answer.size() - front) + " bytes instead of 5");
        rate = wordOf(parametersOf(answer, itemSampleRate));
    }
    if (rate || isRefusal(answer))
        answer = receive(end);
    parametersOf(answer, itemReceiverStatus);
    return rate;
}

std::optional<std::uint32_t> ControlClient::frequency() {
    try {
        const Bytes value = exchange(TYPE_REQUEST_CITEM, itemReceiverFrequency, {0});
        if (value.size() < wordSize)
            fail("answered the question for its frequency with " + std::to_string(value.size()) +
                 " bytes instead of 6");
        return wordOf(value);
    } catch (const Failure& failure) {
        if (failure.trouble != Trouble::refused)
            throw;
        return std::nullopt;
    }
}

void ControlClient::setRunning(bool running) {
    set(itemReceiverState, stateParameters(running));
}

void ControlClient::stopAndLeave(Seconds limit) noexcept try {
    limits_.cancel = -1;
    const auto end = after(limit);
    const Bytes stop = messageOf(TYPE_TARG_RESP_CITEM, itemReceiverState, stateParameters(false));
    send(stop);
    while (receive(end) != stop) {
    }
} catch (const std::exception&) {
    // The connection has ended, or the server does not answer: there is nobody to stop anything.
}

void ControlClient::setFrequency(std::uint32_t hertz) {
    Bytes parameters;
    putWord(parameters, hertz);
    parameters.push_back(0);
    set(itemReceiverFrequency, parameters);
}

std::uint32_t ControlClient::setSampleRate(std::uint32_t pairsPerSecond) {
    Bytes parameters;
    putWord(parameters, pairsPerSecond);
    const Bytes echo = exchange(TYPE_TARG_RESP_CITEM, itemSampleRate, parameters);
    if (echo.size() != wordSize)
        fail("did not confirm what was set");
    return wordOf(echo);
}

std::string ControlClient::localAddress() const {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&local), &length);
    return dotted(local);
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
    const auto begin = Clock::now();
    send(messageOf(type, item, parameters));
    const Bytes answer =
        receive(begin + std::chrono::duration_cast<Clock::duration>(limits_.timeout));
    roundTrip_ = Clock::now() - begin;
    return parametersOf(answer, item);
}

ControlClient::Bytes ControlClient::parametersOf(const Bytes& answer, ControlItem item) const {
    if (isRefusal(answer))
        throw Failure(Trouble::refused, server_ + " refused what was asked");
    if (!isAbout(answer, item))
        fail("answered something else than was asked");
    return {answer.begin() + front, answer.end()};
}

void ControlClient::send(const Bytes& message) {
    // A handful of bytes on a connection with nothing else under way: they fit or it is broken.
    const ssize_t sent = ::send(socket_.get(), message.data(), message.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(message.size()))
        fail("closed the connection");
}

ControlClient::Bytes ControlClient::receive(Clock::time_point end) {
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
        if (!waitFor(socket_.get(), POLLIN, end, limits_.cancel))
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
