// SPDX-License-Identifier: MIT
// The listening end of an output's TCP port.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <string>

namespace feedline::hub {

/// Takes every connection that comes, on the thread that runs the context; must live as long as
/// that thread runs.
class Acceptor {
public:
    using Tcp = boost::asio::ip::tcp;
    using Taken = std::function<void(Tcp::socket connection)>;

    /// Listens on a dotted IPv4 address of this machine; port 0 takes a free one. Throws
    /// OutputFailure. `what` names the output in that line and in the log.
    Acceptor(boost::asio::io_context& context, std::string what, const std::string& address,
             std::uint16_t port, Taken taken);

    std::uint16_t port() const { return port_; }

private:
    void accept();
    void pauseAndAccept(const std::string& why);

    std::string what_;
    Tcp::acceptor acceptor_;
    boost::asio::steady_timer pause_;
    Taken taken_;
    std::uint16_t port_ = 0;
};

} // namespace feedline::hub
