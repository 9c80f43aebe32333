// SPDX-License-Identifier: MIT
// The UDP port that samples come to.
#pragma once

#include "tools/client/UniqueFd.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace feedline::client {

/// What one call brought in, in memory that the next call uses again: nothing is allocated while
/// datagrams come. The samples of datagrams that came one after the other lie back to back. For one
/// thread.
class DatagramBlock {
public:
    static constexpr std::size_t usualCapacity = 64; ///< datagrams

    explicit DatagramBlock(std::size_t capacity = usualCapacity);
    ~DatagramBlock();
    DatagramBlock(const DatagramBlock&) = delete;
    DatagramBlock& operator=(const DatagramBlock&) = delete;

    /// Datagrams, those left out that are none of a server's (another length, another header).
    std::size_t size() const { return size_; }
    std::size_t malformed() const { return malformed_; }
    /// Whether more may be waiting.
    bool full() const { return size_ + malformed_ == capacity_; }

    std::uint16_t number(std::size_t at) const { return datagrams_[at].number; }
    /// Arrival at this machine, ns since 1970 (UTC).
    std::int64_t nanoseconds(std::size_t at) const { return datagrams_[at].nanoseconds; }
    /// Of `count` datagrams from the given one on: I, Q, I, Q, ... in host order.
    std::span<const std::int16_t> samples(std::size_t at, std::size_t count = 1) const;

private:
    friend class DatagramSocket;
    struct Datagram {
        std::uint16_t number;
        std::int64_t nanoseconds;
    };
    struct Intake;
    std::size_t receive(int fd, std::uint32_t& overflowed);
    void take(std::size_t from, std::int64_t now, std::uint32_t& overflowed);
    bool wellFormed(std::size_t at) const;

    std::size_t capacity_;
    std::size_t size_ = 0;
    std::size_t malformed_ = 0;
    std::vector<std::int16_t> samples_;
    std::vector<Datagram> datagrams_;
    std::vector<Intake> intakes_; ///< what the system fills in besides, one a datagram
    std::vector<mmsghdr> headers_;
};

/// For one thread at a time.
class DatagramSocket {
public:
    static constexpr int usualBuffer = 16 << 20; ///< bytes

    /// Binds the port at a dotted IPv4 address of this machine; throws Failure (badAddress,
    /// portInUse). The system grants at most net.core.rmem_max bytes of buffer to a user.
    DatagramSocket(const std::string& address, std::uint16_t port, int buffer = usualBuffer);

    /// Bytes of receive buffer that the system granted, as it counts them: more than a datagram's
    /// own 1028 for each that waits.
    int grantedBuffer() const { return granted_; }
    /// Datagrams that found the buffer full, as far as the system has told.
    std::uint32_t overflowed() const { return overflowed_; }

    /// For poll(): readable when datagrams wait.
    int fd() const { return socket_.get(); }
    /// Takes what waits, as much as the block has room for, and never waits itself. Returns the
    /// block's size.
    std::size_t receive(DatagramBlock& block) { return block.receive(fd(), overflowed_); }

private:
    UniqueFd socket_;
    int granted_;
    std::uint32_t overflowed_ = 0;
};

} // namespace feedline::client
