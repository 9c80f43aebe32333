// SPDX-License-Identifier: MIT
// One connection that speaks HTTP, until it ends or becomes a WebSocket.
#pragma once

#include "tools/hub/web/server/Answers.h"
#include "tools/hub/web/server/Service.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <memory>
#include <optional>

namespace feedline::hub::web {

/// Lives as long as its connection. Everything happens on the connection's own executor.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(boost::asio::ip::tcp::socket&& socket, Service& service);

    void begin();

private:
    void read();
    void take();
    void upgrade(const Asking& asking);
    void send(Response response);
    void end();

    boost::beast::tcp_stream stream_;
    Service& service_;
    std::shared_ptr<void> place_; ///< among the connections
    boost::beast::flat_buffer received_;
    std::optional<boost::beast::http::request_parser<boost::beast::http::empty_body>> parser_;
    Response response_;
};

} // namespace feedline::hub::web
