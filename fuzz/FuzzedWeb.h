// SPDX-License-Identifier: MIT
// The hub's web output without its threads and its port: a connection whose other end a fuzz target
// holds. Everything happens in the calls here.
#pragma once

#include "Require.h"
#include "tools/hub/band/Band.h"
#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/web/server/HttpSession.h"
#include "tools/hub/web/server/Service.h"

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <memory>
#include <span>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace feedline::fuzz {

/// Lives as long as the process, as the hub's parts do.
class FuzzedWeb {
public:
    static FuzzedWeb& only() {
        static auto* const web = new FuzzedWeb;
        return *web;
    }

    /// Listeners that are there, but for the hub's own.
    std::size_t listeners() const { return receiver_.listeners().size() - 1; }

    /// Everything that can happen without waiting.
    void settle() { context_.poll(); }

    boost::asio::io_context& context() { return context_; }
    hub::web::Service& service() { return service_; }

private:
    // A server on another machine: no bus is asked for gains.
    static hub::Configuration configuration() {
        hub::Configuration chosen;
        chosen.serverHost = "192.0.2.1";
        chosen.webToken = "secret";
        return chosen;
    }
    FuzzedWeb() {
        receiver_.setState({.connected = true,
                            .running = true,
                            .silent = false,
                            .name = "AirSpyHF+",
                            .serial = "1",
                            .frequency = 7100000,
                            .rate = 768000});
    }

    const hub::Configuration configuration_ = configuration();
    hub::Band band_;
    hub::Receiver receiver_{band_, configuration_};
    boost::asio::io_context context_{1};
    hub::web::Service service_{context_, configuration_, receiver_};
};

/// A connection to it.
class FuzzedConnection {
public:
    FuzzedConnection() {
        std::array<int, 2> ends{};
        require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) ==
                    0,
                "there is a socket");
        end_ = ends[0];
        boost::asio::ip::tcp::socket socket(boost::asio::make_strand(web_.context()));
        socket.assign(boost::asio::ip::tcp::v4(), ends[1]);
        std::make_shared<hub::web::HttpSession>(std::move(socket), web_.service())->begin();
        web_.settle();
    }
    FuzzedConnection(const FuzzedConnection&) = delete;
    FuzzedConnection& operator=(const FuzzedConnection&) = delete;
    ~FuzzedConnection() {
        if (end_ >= 0)
            close(end_);
    }

    /// Ends it. For every round's end: what throws here is a finding, too.
    void leave() {
        close(std::exchange(end_, -1));
        web_.settle();
        require(web_.listeners() == 0, "who has gone is no listener any more");
    }

    /// Nothing is left over: the input is smaller than the socket's buffer, and what comes back is
    /// taken at once.
    void send(std::span<const std::uint8_t> bytes) {
        ::send(end_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        take();
    }
    void send(const std::string& text) {
        send(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    }
    void finishSending() {
        shutdown(end_, SHUT_WR);
        take();
    }

    std::string received; ///< so far, for the target to take from

private:
    void take() {
        std::array<char, 65536> some{};
        ssize_t count = 0;
        do {
            web_.settle();
            count = recv(end_, some.data(), some.size(), 0);
            if (count > 0)
                received.append(some.data(), static_cast<std::size_t>(count));
        } while (count > 0);
    }

    FuzzedWeb& web_ = FuzzedWeb::only();
    int end_ = -1;
};

} // namespace feedline::fuzz
