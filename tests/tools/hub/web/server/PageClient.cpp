// SPDX-License-Identifier: MIT
#include "PageClient.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <functional>

namespace feedline::test {
namespace {

namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

/// Runs one operation to its end, or to the limit.
class Operations {
public:
    using Done = std::function<void(const boost::system::error_code& error, std::size_t bytes)>;
    /// @param start  begins the operation with the handler that it is given
    boost::system::error_code run(const std::function<void(const Done&)>& start) {
        boost::system::error_code result = boost::asio::error::timed_out;
        start([&result](const boost::system::error_code& error, std::size_t) { result = error; });
        context.restart();
        context.run_for(std::chrono::seconds(60));
        return result;
    }
    boost::asio::io_context context;
};

boost::asio::ip::tcp::endpoint loopback(std::uint16_t port) {
    return {boost::asio::ip::address_v4::loopback(), port};
}

} // namespace

Answer ask(std::uint16_t port, const std::string& target, const Headers& headers,
           const std::string& method, const std::string& body) {
    Operations operations;
    boost::beast::tcp_stream stream(operations.context);
    stream.connect(loopback(port));
    http::request<http::string_body> request(http::string_to_verb(method), target, 11);
    request.set(http::field::host, "127.0.0.1:" + std::to_string(port));
    for (const auto& [name, value] : headers)
        request.set(name, value);
    request.body() = body;
    if (!body.empty())
        request.prepare_payload();
    operations.run([&](const auto& done) { http::async_write(stream, request, done); });
    boost::beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.skip(method == "HEAD");
    if (operations.run([&](const auto& done) { http::async_read(stream, buffer, parser, done); }))
        return {};
    Answer answer{parser.get().result_int(), {}, parser.get().body()};
    for (const auto& field : parser.get())
        answer.headers[std::string(field.name_string())] = std::string(field.value());
    return answer;
}

struct PageClient::Socket {
    bool write(const std::string& bytes) {
        return !operations.run(
            [&](const auto& done) { stream.async_write(boost::asio::buffer(bytes), done); });
    }

    Operations operations;
    websocket::stream<boost::beast::tcp_stream> stream{operations.context};
    boost::system::error_code handshake;
};

PageClient::PageClient(std::uint16_t port, const Headers& headers, int receiveBuffer)
    : socket_(std::make_unique<Socket>()) {
    auto& stream = socket_->stream;
    auto& lowest = boost::beast::get_lowest_layer(stream);
    lowest.socket().open(boost::asio::ip::tcp::v4());
    if (receiveBuffer != 0)
        lowest.socket().set_option(boost::asio::socket_base::receive_buffer_size(receiveBuffer));
    lowest.connect(loopback(port));
    stream.set_option(
        websocket::stream_base::decorator([headers](websocket::request_type& request) {
            for (const auto& [name, value] : headers)
                request.set(name, value);
        }));
    const std::string host =
        headers.count("Host") != 0 ? headers.at("Host") : "127.0.0.1:" + std::to_string(port);
    socket_->handshake = socket_->operations.run([&](const auto& done) {
        stream.async_handshake(host, "/socket", [done](const auto& error) { done(error, 0); });
    });
}

PageClient::~PageClient() = default;

bool PageClient::connected() const {
    return !socket_->handshake;
}

bool PageClient::say(const std::string& text) {
    socket_->stream.text(true);
    return socket_->write(text);
}

bool PageClient::sayBinary(const std::string& bytes) {
    socket_->stream.binary(true);
    return socket_->write(bytes);
}

/// The next message; false when the connection has ended.
bool PageClient::read() {
    boost::beast::flat_buffer buffer;
    if (socket_->operations.run(
            [&](const auto& done) { socket_->stream.async_read(buffer, done); }))
        return false;
    const auto* const bytes = static_cast<const std::uint8_t*>(buffer.data().data());
    words_ = Json();
    frame_.clear();
    if (socket_->stream.got_text())
        words_ = Json::parse(bytes, bytes + buffer.size());
    else
        frame_.assign(bytes, bytes + buffer.size());
    return true;
}

Json PageClient::words(const std::string& type) {
    while (read())
        if (words_.is_object() && words_.at("type") == type)
            return words_;
    return {};
}

Octets8 PageClient::frame(std::uint8_t type) {
    while (read())
        if (!frame_.empty() && frame_[0] == type)
            return frame_;
    return {};
}

bool PageClient::ends() {
    while (read()) {
    }
    return true;
}

} // namespace feedline::test
