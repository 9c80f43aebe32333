// SPDX-License-Identifier: MIT
// An output with a band that the test writes, and clients of it on loopback addresses.
#pragma once

#include "Loopback.h"
#include "Waiting.h"
#include "tools/hub/band/Band.h"
#include "tools/hub/config/Configuration.h"
#include "tools/hub/listeners/Receiver.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <cstdint>
#include <numeric>
#include <span>
#include <string>
#include <sys/time.h>
#include <vector>

namespace feedline::test {

using Octets = std::vector<std::uint8_t>;

/// Reads and writes that end after a time that only a broken build needs.
template <typename Socket>
void limitWaiting(Socket& socket) {
    const timeval limit{20, 0};
    ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

/// A client of a TCP output, connected from the given address of this machine.
class TcpClient {
public:
    explicit TcpClient(std::uint16_t port, const std::string& from = "127.0.0.1")
        : socket_(context_) {
        namespace ip = boost::asio::ip;
        socket_.open(ip::tcp::v4());
        socket_.bind({ip::make_address_v4(from), 0});
        socket_.connect({ip::address_v4::loopback(), port});
        limitWaiting(socket_);
    }

    void send(const Octets& bytes) {
        ASSERT_EQ(::send(socket_.native_handle(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// False when the connection has ended; waits while the other end does not read.
    bool trySend(const Octets& bytes) {
        return ::send(socket_.native_handle(), bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0;
    }

    /// Exactly so many bytes, fewer when the connection ended or nothing came.
    Octets receive(std::size_t count) {
        Octets bytes(count);
        std::size_t have = 0;
        while (have < count) {
            const ssize_t came =
                ::recv(socket_.native_handle(), bytes.data() + have, count - have, 0);
            if (came <= 0)
                break;
            have += static_cast<std::size_t>(came);
        }
        bytes.resize(have);
        return bytes;
    }

    Octets ask(const Octets& message, std::size_t answerSize) {
        send(message);
        return receive(answerSize);
    }

    std::size_t waiting() const { return socket_.available(); } ///< bytes

    bool ended() { return receive(1).empty(); }

private:
    boost::asio::io_context context_;
    boost::asio::ip::tcp::socket socket_;
};

/// Datagrams that come to a port of an address of this machine.
class UdpEnd {
public:
    explicit UdpEnd(std::uint16_t port, const std::string& address = "127.0.0.1")
        : socket_(context_, {boost::asio::ip::make_address_v4(address), port}) {
        limitWaiting(socket_);
    }

    /// The next one; empty when none comes.
    Octets next() {
        Octets bytes(2048);
        const ssize_t count = ::recv(socket_.native_handle(), bytes.data(), bytes.size(), 0);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

    bool empty() const { return socket_.available() == 0; }

private:
    boost::asio::io_context context_;
    boost::asio::ip::udp::socket socket_;
};

/// Receiver and band without a server: the test says what is received.
class OutputRoom : public ::testing::Test {
protected:
    static constexpr std::uint32_t centre = 7100000;
    static constexpr std::uint32_t received = 768000;

    OutputRoom() {
        band.setFrequency(centre);
        band.setRate(received);
    }

    void tell(const hub::ReceiverState& state) { receiver.setState(state); }

    /// So many pairs that count on from the last ones.
    std::vector<std::int16_t> receive(std::size_t pairs) {
        std::vector<std::int16_t> samples(2 * pairs);
        for (std::int16_t& sample : samples)
            sample = static_cast<std::int16_t>(next_++);
        write(samples);
        return samples;
    }
    void write(std::span<const std::int16_t> samples) {
        band.write(samples, hub::Clock::now());
        band.flush();
    }

    std::size_t listening() const {
        std::size_t count = 0;
        for (const auto& listener : receiver.listeners())
            count += listener.running ? 1 : 0;
        return count;
    }

    const ReservedPort reserved{3}; ///< for the output to listen on, side by side
    hub::Configuration configuration;
    hub::Band band;
    hub::Receiver receiver{band, configuration};
    const hub::ReceiverState idle{.connected = true,
                                  .name = "AirSpyHF+",
                                  .serial = "123456789",
                                  .frequency = centre,
                                  .rate = received};

private:
    std::uint32_t next_ = 0;
};

} // namespace feedline::test
