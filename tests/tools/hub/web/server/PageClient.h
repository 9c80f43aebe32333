// SPDX-License-Identifier: MIT
// What a browser says to the web output, without a browser.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace feedline::test {

using Headers = std::map<std::string, std::string>;
using Json = nlohmann::json;

struct Answer {
    unsigned status = 0; ///< 0: none came
    std::map<std::string, std::string> headers;
    std::string body;
};

/// One request on a connection of its own, by any of HTTP's methods.
Answer ask(std::uint16_t port, const std::string& target, const Headers& headers = {},
           const std::string& method = "GET", const std::string& body = {});

/// A frame as it came.
using Octets8 = std::vector<std::uint8_t>;

/// A page's WebSocket. Every wait ends after a limit that only a broken build reaches.
class PageClient {
public:
    /// @param receiveBuffer  bytes, for a client that takes little
    explicit PageClient(std::uint16_t port, const Headers& headers = {}, int receiveBuffer = 0);
    ~PageClient();

    bool connected() const;

    bool say(const std::string& text);
    bool say(const Json& message) { return say(message.dump()); }
    bool sayBinary(const std::string& bytes);

    /// The next words of a type, whatever comes before; null when the connection ends first.
    Json words(const std::string& type);
    /// The next frame of a type; empty when the connection ends first.
    Octets8 frame(std::uint8_t type);
    /// Reads on until the other end hangs up.
    bool ends();

private:
    struct Socket;

    bool read();

    std::unique_ptr<Socket> socket_;
    Json words_;
    Octets8 frame_;
};

} // namespace feedline::test
