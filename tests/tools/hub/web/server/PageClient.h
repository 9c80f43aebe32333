// SPDX-License-Identifier: MIT
// What a browser says to the web output, without a browser.
#pragma once

#include "tools/hub/web/server/Answers.h"

#include <nlohmann/json.hpp>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace feedline::test {

namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using Headers = std::map<std::string, std::string>;
using Json = nlohmann::json;

/// Runs one operation to its end, or to a limit that only a broken build reaches.
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

inline boost::asio::ip::tcp::endpoint loopback(std::uint16_t port) {
    return {boost::asio::ip::address_v4::loopback(), port};
}

struct Answer {
    unsigned status = 0; ///< 0: none came
    std::map<std::string, std::string> headers;
    std::string body;
};

/// One request on a connection of its own.
inline Answer ask(std::uint16_t port, const std::string& target, const Headers& headers = {},
                  http::verb method = http::verb::get, const std::string& body = {}) {
    Operations operations;
    boost::beast::tcp_stream stream(operations.context);
    stream.connect(loopback(port));
    http::request<http::string_body> request(method, target, 11);
    request.set(http::field::host, "127.0.0.1:" + std::to_string(port));
    for (const auto& [name, value] : headers)
        request.set(name, value);
    request.body() = body;
    if (!body.empty())
        request.prepare_payload();
    operations.run([&](const auto& done) { http::async_write(stream, request, done); });
    boost::beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.skip(method == http::verb::head);
    if (operations.run([&](const auto& done) { http::async_read(stream, buffer, parser, done); }))
        return {};
    Answer answer{parser.get().result_int(), {}, parser.get().body()};
    for (const auto& field : parser.get())
        answer.headers[std::string(field.name_string())] = std::string(field.value());
    return answer;
}

/// A frame as it came.
using Octets8 = std::vector<std::uint8_t>;

class PageClient {
public:
    /// @param receiveBuffer  bytes, for a client that takes little
    explicit PageClient(std::uint16_t port, const Headers& headers = {}, int receiveBuffer = 0)
        : socket_(operations_.context) {
        auto& lowest = boost::beast::get_lowest_layer(socket_);
        lowest.socket().open(boost::asio::ip::tcp::v4());
        if (receiveBuffer != 0)
            lowest.socket().set_option(
                boost::asio::socket_base::receive_buffer_size(receiveBuffer));
        lowest.connect(loopback(port));
        socket_.set_option(
            websocket::stream_base::decorator([headers](websocket::request_type& request) {
                for (const auto& [name, value] : headers)
                    request.set(name, value);
            }));
        const std::string host =
            headers.count("Host") != 0 ? headers.at("Host") : "127.0.0.1:" + std::to_string(port);
        handshake_ = operations_.run([&](const auto& done) {
            socket_.async_handshake(host, "/socket", [done](const auto& error) { done(error, 0); });
        });
    }

    bool connected() const { return !handshake_; }

    bool say(const std::string& text) {
        socket_.text(true);
        return !operations_.run(
            [&](const auto& done) { socket_.async_write(boost::asio::buffer(text), done); });
    }
    bool say(const Json& message) { return say(message.dump()); }
    bool sayBinary(const std::string& bytes) {
        socket_.binary(true);
        return !operations_.run(
            [&](const auto& done) { socket_.async_write(boost::asio::buffer(bytes), done); });
    }

    /// The next message; false when the connection has ended.
    bool read() {
        boost::beast::flat_buffer buffer;
        if (operations_.run([&](const auto& done) { socket_.async_read(buffer, done); }))
            return false;
        const auto* const bytes = static_cast<const std::uint8_t*>(buffer.data().data());
        words_ = Json();
        frame_.clear();
        if (socket_.got_text())
            words_ = Json::parse(bytes, bytes + buffer.size());
        else
            frame_.assign(bytes, bytes + buffer.size());
        return true;
    }

    /// The next words of a type, whatever comes before; null when the connection ends first.
    Json words(const std::string& type) {
        while (read())
            if (words_.is_object() && words_.at("type") == type)
                return words_;
        return {};
    }
    /// The next frame of a type; empty when the connection ends first.
    Octets8 frame(std::uint8_t type) {
        while (read())
            if (!frame_.empty() && frame_[0] == type)
                return frame_;
        return {};
    }
    /// Reads on until the other end hangs up.
    bool ends() {
        while (read()) {
        }
        return true;
    }

private:
    Operations operations_;
    websocket::stream<boost::beast::tcp_stream> socket_;
    boost::system::error_code handshake_;
    Json words_;
    Octets8 frame_;
};

} // namespace feedline::test
