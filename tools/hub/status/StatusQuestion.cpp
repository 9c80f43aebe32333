// SPDX-License-Identifier: MIT
#include "tools/hub/status/StatusQuestion.h"

#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <stdexcept>

namespace feedline::hub {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr std::chrono::seconds limit{3};

// A hub that listens everywhere is asked over the loopback address.
std::string reachable(const std::string& address) {
    return address == "0.0.0.0" ? "127.0.0.1" : address;
}

// The three steps one after the other; the stream's time limit covers them all.
class Question {
public:
    Question(const std::string& address, std::uint16_t port)
        : stream_(context_), request_(http::verb::get, "/status", 11) {
        request_.set(http::field::host, address);
        stream_.expires_after(limit);
        stream_.async_connect(
            asio::ip::tcp::endpoint(asio::ip::make_address_v4(reachable(address)), port),
            [this](const beast::error_code& error) { connected(error); });
        context_.run();
    }
    const beast::error_code& error() const { return error_; }
    const http::response<http::string_body>& response() const { return response_; }

private:
    void connected(const beast::error_code& error) {
        error_ = error;
        if (!error)
            http::async_write(stream_, request_,
                              [this](const beast::error_code& e, std::size_t) { sent(e); });
    }
    void sent(const beast::error_code& error) {
        error_ = error;
        if (!error)
            http::async_read(stream_, buffer_, response_,
                             [this](const beast::error_code& e, std::size_t) { error_ = e; });
    }

    asio::io_context context_;
    beast::tcp_stream stream_;
    http::request<http::empty_body> request_;
    beast::flat_buffer buffer_;
    http::response<http::string_body> response_;
    beast::error_code error_;
};

} // namespace

std::string askForStatus(const std::string& address, std::uint16_t port) {
    const std::string hub = address + ":" + std::to_string(port);
    const Question question(address, port);
    if (question.error())
        throw std::runtime_error("no hub answers at " + hub + ": " + question.error().message());
    if (question.response().result() != http::status::ok)
        throw std::runtime_error("what answers at " + hub + " is no hub");
    return question.response().body();
}

} // namespace feedline::hub
