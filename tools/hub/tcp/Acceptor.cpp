// SPDX-License-Identifier: MIT
#include "tools/hub/tcp/Acceptor.h"

#include "tools/hub/log/Log.h"
#include "tools/hub/output/Output.h"

#include <chrono>
#include <utility>

namespace feedline::hub {
namespace {

using Tcp = Acceptor::Tcp;
using namespace std::chrono_literals;

/// Connections that may wait while others are being accepted.
constexpr int backlog = 128;
/// Without descriptors or memory the next try would fail at once, too.
constexpr auto pauseAfterFailure = 200ms;

Tcp::acceptor listenOn(boost::asio::io_context& context, const std::string& what,
                       const std::string& address, std::uint16_t port) {
    try {
        const Tcp::endpoint local(boost::asio::ip::make_address_v4(address), port);
        Tcp::acceptor acceptor(context);
        acceptor.open(local.protocol());
        // A hub that starts again takes its ports while the last one's connections still fade.
        acceptor.set_option(Tcp::acceptor::reuse_address(true));
        acceptor.bind(local);
        acceptor.listen(backlog);
        return acceptor;
    } catch (const boost::system::system_error& error) {
        throw OutputFailure(what + " cannot listen on " + address + ":" + std::to_string(port) +
                            ": " + error.code().message());
    }
}

} // namespace

Acceptor::Acceptor(boost::asio::io_context& context, std::string what, const std::string& address,
                   std::uint16_t port, Taken taken)
    : what_(std::move(what)), acceptor_(listenOn(context, what_, address, port)), pause_(context),
      taken_(std::move(taken)), port_(acceptor_.local_endpoint().port()) {
    accept();
}

void Acceptor::accept() {
    acceptor_.async_accept([this](const boost::system::error_code& error, Tcp::socket connection) {
        if (error == boost::asio::error::operation_aborted)
            return;
        if (error)
            return pauseAndAccept(error.message());
        taken_(std::move(connection));
        accept();
    });
}

void Acceptor::pauseAndAccept(const std::string& why) {
    log(what_ + " could not accept a connection: " + why);
    pause_.expires_after(pauseAfterFailure);
    pause_.async_wait([this](const boost::system::error_code& error) {
        if (!error)
            accept();
    });
}

} // namespace feedline::hub
