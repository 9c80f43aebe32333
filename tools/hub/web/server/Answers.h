// SPDX-License-Identifier: MIT
// What a request of HTTP is answered with, but for a WebSocket.
#pragma once

#include "tools/hub/web/safety/Access.h"

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <string>

namespace feedline::hub {
class Receiver;
}

namespace feedline::hub::web {

using Request = boost::beast::http::request<boost::beast::http::empty_body>;
using Response = boost::beast::http::response<boost::beast::http::string_body>;

/// Where the page's WebSocket is.
constexpr const char* socketPath = "/socket";

/// What the headers say of who asks.
Asking askingOf(const Request& request, const boost::asio::ip::address& peer);

/// The token of "Authorization: Bearer TOKEN"; empty without one.
std::string bearerOf(const Request& request);

/// Whether a request may be looked at, or what it is answered with.
/// @return nothing when all is well
std::optional<Response> refusal(const Request& request, const Asking& asking, const Access& access);

/// For a connection that there is no place for.
Response tooMany(const Request& request);

/// GET and HEAD of the page's files, /status and /metrics.
Response answer(const Request& request, const Asking& asking, const Access& access,
                const Receiver& receiver);

} // namespace feedline::hub::web
