// SPDX-License-Identifier: MIT
// Longest input: 4096 bytes.
// Reaches: everything that can be sent to the hub's web port before a WebSocket begins: the HTTP
// parser with its limits, Host, Origin and the headers of proxies, the token, the files of the
// page, the status, and the step to a WebSocket. Whatever comes, every answer is a whole HTTP
// response with the strict policy and without a cookie, and a request is answered with anything but
// a refusal only if its Host was ours.
//
// Leaves out: the addresses of peers, since there is no network, and time.
//
// The first byte of an input is the size of its pieces, which arrive one after the other.
#include "FuzzedWeb.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

namespace {

using namespace feedline::fuzz;
namespace http = boost::beast::http;

// How the response at the beginning ends; a request of HEAD has no body after its header.
std::size_t judge(const std::string& received, bool mayBeBare) {
    http::response_parser<http::string_body> parser;
    parser.body_limit(1U << 20U);
    parser.eager(true);
    boost::system::error_code error;
    const std::size_t size = parser.put(boost::asio::buffer(received), error);
    if (!parser.is_header_done())
        require(false, "an answer is an HTTP response");
    const auto& response = parser.get();
    const unsigned status = response.result_int();
    if (status == 101)
        return received.size(); // What follows is no HTTP.
    // The library itself refuses what asks for a WebSocket and is no good.
    if (status != 400 && status != 426)
        require(response.find("Content-Security-Policy") != response.end(),
                "every answer has the policy");
    require(response.find("Set-Cookie") == response.end(), "nothing sets a cookie");
    require(parser.is_done() || mayBeBare, "an answer is whole");
    return std::max<std::size_t>(size, 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    FuzzedConnection connection;
    std::span<const std::uint8_t> rest(data + 1, size - 1);
    const std::size_t piece = data[0] == 0 ? rest.size() : std::size_t{data[0]} * 8;
    const std::string text(rest.begin(), rest.end());
    while (!rest.empty()) {
        const auto part = rest.first(std::min(piece, rest.size()));
        connection.send(part);
        rest = rest.subspan(part.size());
    }
    connection.finishSending();
    if (!connection.received.empty())
        judge(connection.received, text.find("HEAD") != std::string::npos);
    connection.leave();
    return 0;
}
