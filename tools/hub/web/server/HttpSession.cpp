// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/HttpSession.h"

#include "tools/hub/web/server/Visit.h"

#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>

namespace feedline::hub::web {

namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

constexpr std::uint32_t longestHeader = 8192; // bytes
constexpr auto idleLimit = std::chrono::seconds(15);

} // namespace

HttpSession::HttpSession(boost::asio::ip::tcp::socket&& socket, Service& service)
    : stream_(std::move(socket)), service_(service), received_(2 * std::size_t{longestHeader}) {}

void HttpSession::begin() {
    read();
}

void HttpSession::read() {
    parser_.emplace();
    parser_->header_limit(longestHeader);
    parser_->body_limit(0);
    stream_.expires_after(idleLimit);
    http::async_read(stream_, received_, *parser_,
                     [self = shared_from_this()](const error_code& error, std::size_t) {
                         if (error)
                             return self->end();
                         self->take();
                     });
}

// The address that counts is known with the first request only: a proxy forwards for many.
void HttpSession::take() {
    error_code unknown;
    const auto peer = stream_.socket().remote_endpoint(unknown).address();
    const Request& request = parser_->get();
    const Asking asking = askingOf(request, peer);
    if (auto refused = refusal(request, asking, service_.access))
        return send(std::move(*refused));
    if (!place_)
        place_ = service_.connections.take(service_.access.addressOf(asking));
    if (!place_)
        return send(tooMany(request));
    if (boost::beast::websocket::is_upgrade(request) && request.target() == socketPath)
        return upgrade(asking);
    send(answer(request, asking, service_.access, service_.receiver));
}

void HttpSession::upgrade(const Asking& asking) {
    stream_.expires_never();
    const auto visit =
        std::make_shared<Visit>(std::move(stream_), service_, asking, std::move(place_));
    visit->begin(parser_->get());
}

void HttpSession::send(Response response) {
    response_ = std::move(response);
    stream_.expires_after(idleLimit);
    http::async_write(stream_, response_,
                      [self = shared_from_this()](const error_code& error, std::size_t) {
                          if (error || !self->response_.keep_alive())
                              return self->end();
                          self->read();
                      });
}

void HttpSession::end() {
    error_code ignored;
    stream_.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
}

} // namespace feedline::hub::web
