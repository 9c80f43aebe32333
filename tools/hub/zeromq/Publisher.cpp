// SPDX-License-Identifier: MIT
#include "tools/hub/zeromq/Publisher.h"

#include "tools/hub/output/Output.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

namespace feedline::hub {
namespace {

zmq::socket_t openSocket(zmq::context_t& sockets, const std::string& address, std::uint16_t port,
                         int most) {
    const std::string endpoint = "tcp://" + address + ":" + std::to_string(port);
    try {
        zmq::socket_t socket(sockets, zmq::socket_type::xpub);
        socket.set(zmq::sockopt::sndhwm, most);
        socket.set(zmq::sockopt::linger, 0);        // The end of the hub waits for nobody.
        socket.set(zmq::sockopt::xpub_verboser, 1); // Every subscriber counts.
        socket.bind(endpoint);
        return socket;
    } catch (const zmq::error_t& error) {
        throw OutputFailure("zmq cannot listen on " + address + ":" + std::to_string(port) + ": " +
                            error.what());
    }
}

} // namespace

Publisher::Publisher(boost::asio::io_context& context, zmq::context_t& sockets,
                     const std::string& address, std::uint16_t port, int most,
                     std::function<void()> changed)
    : socket_(openSocket(sockets, address, port, most)),
      readable_(context, socket_.get(zmq::sockopt::fd)), changed_(std::move(changed)) {
    boost::asio::post(context, [this] { takeSubscriptions(); });
    wait();
}

/// The descriptor is the library's to close.
Publisher::~Publisher() {
    readable_.release();
}

void Publisher::send(std::span<const std::byte> message) {
    socket_.send(zmq::const_buffer(message.data(), message.size()), zmq::send_flags::dontwait);
    takeSubscriptions(); // Sending may have taken in what the descriptor would have told of.
}

void Publisher::wait() {
    readable_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                         [this](const boost::system::error_code& error) {
                             if (error)
                                 return;
                             takeSubscriptions();
                             wait();
                         });
}

/// The descriptor tells only that something has changed, once: everything must be taken.
void Publisher::takeSubscriptions() {
    bool news = false;
    zmq::message_t message;
    while (socket_.recv(message, zmq::recv_flags::dontwait)) {
        if (message.empty())
            continue;
        const bool begins = *message.data<unsigned char>() == 1;
        subscriptions_ = std::max(0, subscriptions_ + (begins ? 1 : -1));
        news = true;
    }
    if (news)
        changed_();
}

} // namespace feedline::hub
