// SPDX-License-Identifier: MIT
#include "tools/client/DatagramSocket.h"

#include "stream/DataDatagram.h"
#include "tools/client/Addresses.h"
#include "tools/client/Failure.h"

#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>

namespace feedline::client {

namespace {

UniqueFd bindPort(const std::string& address, std::uint16_t port) {
    const sockaddr_in local = dottedAddress(address, port);
    UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        throw Failure(Trouble::portInUse, "cannot receive on UDP " + address + ":" +
                                              std::to_string(port) + ": " + std::strerror(errno));
    const int on = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    setsockopt(fd.get(), SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on);
    return fd;
}

// A privileged user may exceed the system's limit; everybody else gets what it allows.
int enlargeBuffer(int fd, int wanted) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0)
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    int granted = 0;
    socklen_t length = sizeof granted;
    getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &granted, &length);
    return granted / 2; // The system doubles the number for its own book-keeping.
}

std::int64_t nanosecondsOf(const timespec& time) {
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

std::int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return nanosecondsOf(time);
}

std::uint16_t littleEndian(const std::uint8_t* from) {
    return static_cast<std::uint16_t>(from[0] | (from[1] << 8));
}

// Reads a control message's value if it is the one asked for.
template <typename Value>
bool readValue(const cmsghdr* control, int type, Value& value) {
    if (control->cmsg_level != SOL_SOCKET || control->cmsg_type != type)
        return false;
    std::memcpy(&value, CMSG_DATA(control), sizeof value);
    return true;
}

// Arrival time, and the system's count of datagrams that found the buffer full.
void readControl(msghdr& header, std::int64_t& nanoseconds, std::uint32_t& overflowed) {
    for (auto* control = CMSG_FIRSTHDR(&header); control != nullptr;
         control = CMSG_NXTHDR(&header, control)) {
        timespec time{};
        if (readValue(control, SCM_TIMESTAMPNS, time))
            nanoseconds = nanosecondsOf(time);
        readValue(control, SO_RXQ_OVFL, overflowed);
    }
}

} // namespace

// The header goes here, the samples beside those of the datagram before.
struct DatagramBlock::Intake {
    std::array<std::uint8_t, datagram::sampleOffset> front;
    alignas(cmsghdr) std::array<char, 64> control;
    std::array<iovec, 2> parts;
};

DatagramBlock::DatagramBlock(std::size_t capacity)
    : capacity_(capacity), samples_(capacity * datagram::entries), datagrams_(capacity),
      intakes_(capacity), headers_(capacity) {
    for (std::size_t at = 0; at < capacity; ++at) {
        Intake& intake = intakes_[at];
        intake.parts = {{{intake.front.data(), intake.front.size()},
                         {&samples_[at * datagram::entries], datagram::sampleBytes}}};
        msghdr& header = headers_[at].msg_hdr;
        header.msg_iov = intake.parts.data();
        header.msg_iovlen = intake.parts.size();
        header.msg_control = intake.control.data();
    }
}

DatagramBlock::~DatagramBlock() = default;

std::span<const std::int16_t> DatagramBlock::samples(std::size_t at, std::size_t count) const {
    return {&samples_[at * datagram::entries], count * datagram::entries};
}

std::size_t DatagramBlock::receive(int fd, std::uint32_t& overflowed) {
    size_ = 0;
    malformed_ = 0;
    for (mmsghdr& header : headers_)
        header.msg_hdr.msg_controllen = sizeof Intake::control;
    const int count =
        recvmmsg(fd, headers_.data(), static_cast<unsigned>(capacity_), MSG_DONTWAIT, nullptr);
    const std::int64_t time = now();
    for (std::size_t at = 0; count > 0 && at < static_cast<std::size_t>(count); ++at)
        take(at, time, overflowed);
    return size_;
}

// Closes the gap that a malformed one before it has left.
void DatagramBlock::take(std::size_t from, std::int64_t now, std::uint32_t& overflowed) {
    Datagram& taken = datagrams_[size_];
    taken.nanoseconds = now;
    readControl(headers_[from].msg_hdr, taken.nanoseconds, overflowed);
    if (!wellFormed(from)) {
        ++malformed_;
        return;
    }
    taken.number = littleEndian(&intakes_[from].front[datagram::headerSize]);
    std::int16_t* const to = &samples_[size_ * datagram::entries];
    if (from != size_)
        std::memcpy(to, &samples_[from * datagram::entries], datagram::sampleBytes);
    if constexpr (std::endian::native != std::endian::little)
        for (std::size_t entry = 0; entry < datagram::entries; ++entry)
            to[entry] = static_cast<std::int16_t>(
                littleEndian(reinterpret_cast<const std::uint8_t*>(to + entry)));
    ++size_;
}

bool DatagramBlock::wellFormed(std::size_t at) const {
    return headers_[at].msg_len == datagram::size &&
           (headers_[at].msg_hdr.msg_flags & MSG_TRUNC) == 0 &&
           littleEndian(intakes_[at].front.data()) == datagram::header;
}

DatagramSocket::DatagramSocket(const std::string& address, std::uint16_t port, int buffer)
    : socket_(bindPort(address, port)), granted_(enlargeBuffer(socket_.get(), buffer)) {}

} // namespace feedline::client
