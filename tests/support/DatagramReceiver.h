// SPDX-License-Identifier: MIT
// A UDP socket for a server's datagrams, on a port whose TCP number is kept for that server.
#pragma once

#include "Bytes.h"
#include "Loopback.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace feedline::test {

/// One thread receives.
class DatagramReceiver {
public:
    static constexpr int usualBuffer = 32 << 20;

    /// @param bufferBytes  of the receive buffer; fewer where the system does not allow so many
    explicit DatagramReceiver(int bufferBytes = usualBuffer);

    std::uint16_t port() const { return port_.number(); }

    /// For poll().
    int descriptor() const { return socket_.get(); }

    struct Datagram {
        std::array<std::uint8_t, 2048> buffer;
        std::size_t length;
        /// When the kernel had it, by the wall clock; when it was taken, where the kernel does not
        /// say.
        std::chrono::nanoseconds time;
        std::span<const std::uint8_t> bytes() const { return {buffer.data(), length}; }
    };

    /// Takes the next one that has arrived; false when there is none.
    bool take(Datagram& into);

    Bytes receive();   ///< the next one; empty when none comes for long
    Bytes takeBytes(); ///< the next one that has arrived; empty when there is none

    bool hasInput() const { return readable(socket_.get(), 0); }

    /// Datagrams that found the receive buffer full, as of the last one taken.
    std::uint32_t overflowed() const { return overflowed_; }

private:
    ReservedPort port_;
    OwnedDescriptor socket_;
    std::uint32_t overflowed_ = 0;
};

} // namespace feedline::test
