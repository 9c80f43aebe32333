// SPDX-License-Identifier: MIT
// One TCP connection of an output: bytes come in, bytes go out through a bounded queue.
#pragma once

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace feedline::hub {

/// Part of an object that is shared: what is under way on the connection keeps that owner alive,
/// and `end` lets go of it. For the thread that runs the socket's context.
class Connection {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using Bytes = std::vector<std::uint8_t>;

    struct Handlers {
        std::function<void(std::span<const std::uint8_t> bytes)> received;
        /// Called once, with the reason in words, when the connection has ended for whatever
        /// reason; nothing else is called after it.
        std::function<void(const std::string& why)> ended;
    };

    /// @param mostWaiting  bytes that may wait to be sent
    /// @param stallLimit   seconds in which a peer must take something that waits for it
    Connection(Socket socket, std::size_t mostWaiting, double stallLimit);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start(const std::shared_ptr<void>& owner, Handlers handlers);

    /// Queues the bytes; false, and nothing queued, when there is no room for all of them.
    bool send(Bytes bytes);
    std::size_t room() const { return mostWaiting_ - waiting_; } ///< bytes

    /// Closes, and says why to `ended`. Does nothing the second time.
    void end(const std::string& why);

    std::string peerAddress() const { return peer_.address().to_string(); } ///< dotted IPv4
    std::uint16_t peerPort() const { return peer_.port(); }
    boost::asio::ip::address localAddress() const { return local_; }
    Socket::executor_type executor() { return socket_.get_executor(); }

private:
    void receive();
    void sendNext();
    void watch();

    Socket socket_;
    boost::asio::ip::tcp::endpoint peer_;
    boost::asio::ip::address local_;
    boost::asio::steady_timer watch_;
    std::size_t mostWaiting_;
    double stallLimit_;
    Handlers handlers_;
    std::array<std::uint8_t, 4096> incoming_{};
    std::deque<Bytes> outgoing_; ///< the first one is on its way
    std::size_t waiting_ = 0;    ///< bytes in outgoing_
    std::weak_ptr<void> owner_;
    std::uint64_t taken_ = 0; ///< bytes that the peer's end has taken
    std::uint64_t takenAtLastLook_ = 0;
    bool ended_ = false;
};

} // namespace feedline::hub
