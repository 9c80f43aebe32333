#include "WireClient.h"

#include "CapturedStream.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <numeric>
#include <poll.h>
#include <random>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::size_t datagramLength = 1028;
constexpr std::size_t headerLength = 4;
constexpr std::size_t pairsPerDatagram = 256;
constexpr std::size_t mostKept = 40000; // The backlog of more than ten seconds.
constexpr int receiveBuffer = 32 << 20;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

bool bindTo(int socket, std::uint16_t port) {
    const sockaddr_in address = loopback(port);
    return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

int connectTo(std::uint16_t port) {
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return made;
    close(made);
    return -1;
}

bool freeForTcp(std::uint16_t port) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool free = bindTo(probe, port);
    close(probe);
    return free;
}

/// Below the range from which the system takes ports for outgoing connections: the server under
/// test closes its port and takes it again five seconds later, and nobody may have it meanwhile.
std::uint16_t randomPort() {
    static std::mt19937 generator{std::random_device{}()};
    return static_cast<std::uint16_t>(std::uniform_int_distribution<int>(12000, 32000)(generator));
}

bool waitReadable(int descriptor, std::chrono::milliseconds within) {
    pollfd wait{descriptor, POLLIN, 0};
    return poll(&wait, 1, static_cast<int>(within.count())) > 0;
}

void append32(Bytes& bytes, std::uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

} // namespace

ControlConnection::ControlConnection(std::uint16_t port) {
    const auto deadline = Clock::now() + patience;
    while ((socket_ = connectTo(port)) < 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(5ms);
}

ControlConnection::~ControlConnection() {
    close();
}

bool ControlConnection::send(const Bytes& bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

void ControlConnection::sendUntilStuck(const Bytes& bytes) const {
    pollfd wait{socket_, POLLOUT, 0};
    while (poll(&wait, 1, 1000) > 0)
        if (::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) <= 0)
            return;
}

Bytes ControlConnection::receive() const {
    Bytes message;
    std::size_t wanted = 1;
    while (message.size() < wanted) {
        std::array<std::uint8_t, 256> buffer{};
        if (!waitReadable(socket_, patience))
            return {};
        const ssize_t n = recv(socket_, buffer.data(), wanted - message.size(), 0);
        if (n <= 0)
            return {};
        message.insert(message.end(), buffer.begin(), buffer.begin() + n);
        wanted = std::max<std::size_t>(message[0], 1);
    }
    return message;
}

Bytes ControlConnection::ask(const Bytes& message) const {
    return send(message) ? receive() : Bytes{};
}

bool ControlConnection::readable(std::chrono::milliseconds within) const {
    return waitReadable(socket_, within);
}

bool ControlConnection::waitForEnd() const {
    std::array<char, 256> ignored{};
    while (waitReadable(socket_, patience))
        if (recv(socket_, ignored.data(), ignored.size(), 0) <= 0)
            return true;
    return false;
}

void ControlConnection::close() {
    if (socket_ >= 0)
        ::close(socket_);
    socket_ = -1;
}

void ControlConnection::reset() {
    const linger abruptly{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly);
    close();
}

bool ControlConnection::vanish() {
    const int on = 1; // A connection under repair is closed without a packet.
    if (setsockopt(socket_, IPPROTO_TCP, TCP_REPAIR, &on, sizeof on) != 0)
        return false;
    close();
    return true;
}

bool listening(std::uint16_t port) {
    const int connection = connectTo(port);
    if (connection >= 0)
        close(connection);
    return connection >= 0;
}

ControlListener::ControlListener(std::uint16_t port)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (!bindTo(socket_, port) || listen(socket_, 1) != 0)
        std::abort();
}

ControlListener::~ControlListener() {
    ::close(socket_);
}

Bytes askName() {
    return {0x04, 0x20, 0x01, 0x00};
}
Bytes askSerial() {
    return {0x04, 0x20, 0x02, 0x00};
}
Bytes askItem4() {
    return {0x04, 0x20, 0x04, 0x00};
}
Bytes askStatus() {
    return {0x04, 0x20, 0x05, 0x00};
}
Bytes setState(std::uint8_t second) {
    return {0x08, 0x00, 0x18, 0x00, 0x80, second, 0x00, 0x00};
}

Bytes setFrequency(std::uint32_t hertz) {
    Bytes message{0x0A, 0x00, 0x20, 0x00, 0x00};
    append32(message, hertz);
    message.push_back(0);
    return message;
}

Bytes echoOfFrequency(std::uint32_t hertz) {
    return setFrequency(hertz);
}

Bytes resynchronise() {
    // Enough to fill the largest message; then every pair is a message of its own, and the framing
    // stands before its first byte or its second. From either, the last three end a message.
    Bytes bytes(8197, 0x02);
    bytes[8194] = 0x01;
    return bytes;
}

LocalPort::LocalPort() {
    for (int attempt = 0; attempt < 1000; ++attempt) {
        socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        port_ = randomPort();
        if (bindTo(socket_, port_) && freeForTcp(port_))
            return;
        close(socket_);
    }
    std::abort();
}

LocalPort::~LocalPort() {
    close(socket_);
}

StreamClient::StreamClient() : stop_(eventfd(0, EFD_CLOEXEC)) {
    const int size = receiveBuffer;
    if (setsockopt(socket_.descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0)
        setsockopt(socket_.descriptor(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    const int on = 1;
    setsockopt(socket_.descriptor(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    thread_ = std::thread([this] { receiveAll(); });
}

StreamClient::~StreamClient() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stop_, &one, sizeof one);
    thread_.join();
    close(stop_);
}

namespace {

std::chrono::nanoseconds timeOf(msghdr& message) {
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_TIMESTAMPNS)
            continue;
        timespec time{};
        std::memcpy(&time, CMSG_DATA(c), sizeof time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
    return {};
}

std::complex<float> pairAt(const std::uint8_t* bytes) {
    const auto value = [&](std::size_t at) {
        const auto bits = static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8U);
        return static_cast<float>(static_cast<std::int16_t>(bits)) / 32767.0F;
    };
    return {value(0), value(2)};
}

} // namespace

void StreamClient::receiveAll() {
    for (;;) {
        std::array<pollfd, 2> waits{{{socket_.descriptor(), POLLIN, 0}, {stop_, POLLIN, 0}}};
        poll(waits.data(), waits.size(), -1);
        if (waits[1].revents != 0)
            return;
        std::array<std::uint8_t, 2048> buffer{};
        std::array<char, 256> control{};
        iovec vector{buffer.data(), buffer.size()};
        msghdr message{};
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t length = recvmsg(socket_.descriptor(), &message, 0);
        if (length >= 0)
            take(buffer.data(), static_cast<std::size_t>(length), timeOf(message));
    }
}

void StreamClient::take(const std::uint8_t* data, std::size_t length,
                        std::chrono::nanoseconds time) {
    const std::lock_guard lock(mutex_);
    if (length != datagramLength || data[0] != 0x04 || data[1] != 0x84) {
        ++counts_.malformed;
        return;
    }
    const auto number = static_cast<std::uint16_t>(data[2] | data[3] << 8U);
    if (!arrivals_.empty() && number != static_cast<std::uint16_t>(arrivals_.back().number + 1U)) {
        ++counts_.gaps;
        counts_.fromZero += number == 0 ? 1 : 0;
    }
    arrivals_.push_back({number, time});
    kept_.emplace_back(data, data + length);
    if (kept_.size() > mostKept)
        kept_.pop_front();
    ++counts_.datagrams;
    changed_.notify_all();
}

bool StreamClient::waitUntil(const std::function<bool()>& condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, condition);
}

StreamClient::Counts StreamClient::counts() const {
    const std::lock_guard lock(mutex_);
    return counts_;
}

std::vector<StreamClient::Arrival> StreamClient::arrivals() const {
    const std::lock_guard lock(mutex_);
    return arrivals_;
}

bool StreamClient::waitForDatagrams(std::size_t inAll) const {
    return waitUntil([&] { return counts_.datagrams >= inAll; });
}

bool StreamClient::waitForSilence(std::chrono::milliseconds length) const {
    const auto deadline = Clock::now() + patience;
    std::unique_lock lock(mutex_);
    while (Clock::now() < deadline)
        if (changed_.wait_for(lock, length) == std::cv_status::timeout)
            return true;
    return false;
}

Samples StreamClient::samples(std::size_t datagrams, std::size_t after) const {
    waitUntil([&] { return counts_.datagrams >= after + datagrams; });
    const std::lock_guard lock(mutex_);
    const std::size_t oldest = counts_.datagrams - kept_.size();
    Samples result;
    for (std::size_t i = after; i < std::min(after + datagrams, counts_.datagrams); ++i)
        for (std::size_t pair = 0; i >= oldest && pair < pairsPerDatagram; ++pair)
            result.push_back(pairAt(kept_.at(i - oldest).data() + headerLength + 4 * pair));
    return result;
}

Samples StreamClient::nextSamples(std::size_t datagrams) const {
    return samples(datagrams, counts().datagrams);
}

double pairRate(const std::vector<StreamClient::Arrival>& arrivals, std::size_t burst) {
    std::vector<double> times;
    for (std::size_t i = 0; i < arrivals.size(); i += burst)
        times.push_back(std::chrono::duration<double>(arrivals[i].time - arrivals[0].time).count());
    const auto n = static_cast<double>(times.size());
    const double meanTime = std::accumulate(times.begin(), times.end(), 0.0) / n;
    double both = 0;
    double squares = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        both += (static_cast<double>(i) - (n - 1) / 2) * (times[i] - meanTime);
        squares += (times[i] - meanTime) * (times[i] - meanTime);
    }
    return both / squares * static_cast<double>(burst * pairsPerDatagram);
}

} // namespace feedline::test
