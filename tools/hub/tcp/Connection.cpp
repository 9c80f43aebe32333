// SPDX-License-Identifier: MIT
#include "tools/hub/tcp/Connection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cmath>
#include <utility>

namespace feedline::hub {
namespace {

using boost::system::error_code;

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

/// "the client left" and "Connection reset by peer" are what readers of a log expect.
std::string reason(const error_code& error) {
    return error == boost::asio::error::eof ? "the client left" : error.message();
}

} // namespace

Connection::Connection(Socket socket, std::size_t mostWaiting, double stallLimit)
    : socket_(std::move(socket)), watch_(socket_.get_executor()), mostWaiting_(mostWaiting),
      stallLimit_(stallLimit) {
    // A peer that has gone already has no address; reading finds that out.
    error_code gone;
    peer_ = socket_.remote_endpoint(gone);
    local_ = socket_.local_endpoint(gone).address();
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), gone);
}

void Connection::start(const std::shared_ptr<void>& owner, Handlers handlers) {
    owner_ = owner;
    handlers_ = std::move(handlers);
    receive();
    watch();
}

bool Connection::send(Bytes bytes) {
    if (ended_ || bytes.size() > room())
        return false;
    waiting_ += bytes.size();
    outgoing_.push_back(std::move(bytes));
    if (outgoing_.size() == 1)
        sendNext();
    return true;
}

void Connection::end(const std::string& why) {
    if (std::exchange(ended_, true))
        return;
    error_code ignored;
    socket_.shutdown(Socket::shutdown_both, ignored);
    socket_.close(ignored);
    watch_.cancel();
    const Handlers handlers = std::exchange(handlers_, {});
    if (handlers.ended)
        handlers.ended(why);
}

void Connection::receive() {
    socket_.async_read_some(
        boost::asio::buffer(incoming_),
        [this, owner = owner_.lock()](const error_code& error, std::size_t count) {
            if (error)
                return end(reason(error));
            if (handlers_.received)
                handlers_.received({incoming_.data(), count});
            if (!ended_)
                receive();
        });
}

void Connection::sendNext() {
    boost::asio::async_write(socket_, boost::asio::buffer(outgoing_.front()),
                             [this, owner = owner_.lock()](const error_code& error, std::size_t) {
                                 if (error)
                                     return end(reason(error));
                                 taken_ += outgoing_.front().size();
                                 waiting_ -= outgoing_.front().size();
                                 outgoing_.pop_front();
                                 if (!outgoing_.empty() && !ended_)
                                     sendNext();
                             });
}

/// Ends the connection when a whole watch has gone by with something waiting and nothing taken.
void Connection::watch() {
    const bool waited = waiting_ != 0;
    takenAtLastLook_ = taken_;
    watch_.expires_after(milliseconds(stallLimit_));
    watch_.async_wait([this, owner = owner_.lock(), waited](const error_code& error) {
        if (error || ended_)
            return;
        if (waited && taken_ == takenAtLastLook_)
            return end("the client takes nothing");
        watch();
    });
}

} // namespace feedline::hub
