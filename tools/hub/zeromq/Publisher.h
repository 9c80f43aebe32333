// SPDX-License-Identifier: MIT
// One publishing socket.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <zmq.hpp>

namespace feedline::hub {

/// A socket that publishes, for everybody who subscribes, and knows whether anybody does (XPUB,
/// which subscribers cannot tell from PUB). A subscriber that does not keep up loses what its own
/// queue has no room for. For the thread that runs the context.
class Publisher {
public:
    /// @param most     messages that may wait for each subscriber
    /// @param changed  called when a subscriber has come or has gone
    /// Throws OutputFailure.
    Publisher(boost::asio::io_context& context, zmq::context_t& sockets, const std::string& address,
              std::uint16_t port, int most, std::function<void()> changed);
    ~Publisher();
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    bool wanted() const { return subscriptions_ > 0; }

    /// Never waits.
    void send(std::span<const std::byte> message);

private:
    void wait();
    void takeSubscriptions();

    zmq::socket_t socket_;
    boost::asio::posix::stream_descriptor readable_;
    std::function<void()> changed_;
    int subscriptions_ = 0; ///< of all subscribers
};

} // namespace feedline::hub
