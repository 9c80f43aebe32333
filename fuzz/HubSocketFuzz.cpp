// SPDX-License-Identifier: MIT
// Longest input: 2048 bytes.
// Reaches: everything that a page can send to the hub over its WebSocket: frames that are right and
// frames that are not, in any order; messages of every type with any values; more of them than a
// page may send. Whatever comes, what the hub sends is whole frames that are not masked; its texts
// are JSON objects with a type; and when the page has gone nothing of it is left.
//
// Leaves out: rows and sound, which need samples; the handshake, which HubHttpFuzz has; and time.
//
// An input is a list of records: a byte for the kind, a byte for the length, and so many bytes.
// Kinds are a text message, a binary message, a fragment of a text, a ping, a text with a hello
// before it, and bytes as they stand.
#include "FuzzedWeb.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>

namespace {

using namespace feedline::fuzz;

constexpr auto handshake = "GET /socket HTTP/1.1\r\n"
                           "Host: 127.0.0.1\r\n"
                           "Upgrade: websocket\r\n"
                           "Connection: Upgrade\r\n"
                           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                           "Sec-WebSocket-Version: 13\r\n\r\n";

// With a mask of zeros, so that the bytes are seen as they are.
std::string frame(std::uint8_t first, std::string_view payload) {
    std::string bytes{static_cast<char>(first)};
    if (payload.size() < 126) {
        bytes += static_cast<char>(0x80U | payload.size());
    } else {
        bytes += static_cast<char>(0xFE);
        bytes += static_cast<char>(payload.size() >> 8U);
        bytes += static_cast<char>(payload.size() & 0xFFU);
    }
    bytes.append(4, '\0');
    return bytes.append(payload);
}

std::string record(unsigned kind, std::string_view payload) {
    switch (kind % 6) {
    case 0:
        return frame(0x81, payload);
    case 1:
        return frame(0x82, payload);
    case 2:
        return frame(0x01, payload);
    case 3:
        return frame(0x89, payload.substr(0, 125));
    case 4:
        return frame(0x81, R"({"type":"hello","token":"secret"})") + frame(0x81, payload);
    default:
        return std::string(payload);
    }
}

void judgeText(std::string_view text) {
    const auto words = nlohmann::json::parse(text, nullptr, false);
    require(words.is_object() && words.contains("type"), "a text is an object with a type");
}

// Whole frames, one after the other.
void judge(std::string_view received) {
    while (!received.empty()) {
        require(received.size() >= 2, "a frame has a header");
        const auto first = static_cast<std::uint8_t>(received[0]);
        const auto second = static_cast<std::uint8_t>(received[1]);
        require((second & 0x80U) == 0, "the hub masks nothing");
        std::size_t header = 2;
        std::size_t length = second;
        if (length == 126) {
            require(received.size() >= 4, "a length is whole");
            length = static_cast<std::uint8_t>(received[2]) * 256U +
                     static_cast<std::uint8_t>(received[3]);
            header = 4;
        }
        require(length != 127 && received.size() >= header + length, "a frame is whole");
        if (first == 0x81)
            judgeText(received.substr(header, length));
        received.remove_prefix(header + length);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedConnection connection;
    connection.send(std::string(handshake));
    const std::size_t answer = connection.received.find("\r\n\r\n");
    require(connection.received.starts_with("HTTP/1.1 101 ") && answer != std::string::npos,
            "the handshake succeeds");
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (rest.size() >= 2) {
        const auto kind = static_cast<std::uint8_t>(rest[0]);
        const std::size_t length =
            std::min<std::size_t>(static_cast<std::uint8_t>(rest[1]), rest.size() - 2);
        connection.send(record(kind, rest.substr(2, length)));
        rest.remove_prefix(2 + length);
    }
    judge(std::string_view(connection.received).substr(answer + 4));
    connection.leave();
    return 0;
}
