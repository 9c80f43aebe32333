// SPDX-License-Identifier: MIT
#include "tools/hub/web/safety/Access.h"

#include "tools/hub/web/safety/Token.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <unistd.h>

namespace feedline::hub::web {

namespace {

using boost::asio::ip::address;
using boost::asio::ip::make_address;

std::string inSmallLetters(std::string_view text) {
    std::string small(text);
    std::transform(small.begin(), small.end(), small.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return small;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// "name:port", "192.0.2.1:port" or "[2001:db8::1]:port" without the port and the brackets.
std::string_view withoutPort(std::string_view host) {
    if (host.starts_with('[')) {
        const auto end = host.find(']');
        return end == std::string_view::npos ? std::string_view() : host.substr(1, end - 1);
    }
    return host.substr(0, host.find(':'));
}

bool isAddress(std::string_view text) {
    boost::system::error_code error;
    make_address(std::string(text), error);
    return !error;
}

std::string ownName() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? inSmallLetters(name.data()) : "";
}

address unmapped(const address& peer) {
    if (peer.is_v6() && peer.to_v6().is_v4_mapped())
        return boost::asio::ip::make_address_v4(boost::asio::ip::v4_mapped, peer.to_v6());
    return peer;
}

// The first 64 of an IPv6 address's 128 bits.
std::string household(const address& whole) {
    if (!whole.is_v6())
        return whole.to_string();
    auto bytes = whole.to_v6().to_bytes();
    std::fill(bytes.begin() + 8, bytes.end(), 0);
    return boost::asio::ip::make_address_v6(bytes).to_string() + "/64";
}

} // namespace

Access::Access(const Configuration& configuration) : token_(configuration.webToken) {
    hosts_ = {"localhost"};
    if (const std::string name = ownName(); !name.empty()) {
        hosts_.push_back(name);
        hosts_.push_back(name + ".local");
    }
    for (const std::string& host : configuration.webHosts)
        hosts_.push_back(inSmallLetters(host));
    for (const std::string& proxy : configuration.webProxies)
        proxies_.push_back(make_address(proxy));
}

bool Access::isProxy(const address& peer) const {
    return std::find(proxies_.begin(), proxies_.end(), unmapped(peer)) != proxies_.end();
}

// Each proxy appends the address that it was asked from. So the list is read from its end, and the
// first address that is no proxy of ours is the one that a proxy of ours has seen.
std::string Access::addressOf(const Asking& asking) const {
    address seen = unmapped(asking.peer);
    std::string_view rest = asking.forwardedFor;
    while (isProxy(seen) && !rest.empty()) {
        const auto comma = rest.rfind(',');
        const std::string_view last =
            trimmed(comma == std::string_view::npos ? rest : rest.substr(comma + 1));
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(0, comma);
        boost::system::error_code error;
        const address before = make_address(std::string(last), error);
        if (error)
            break;
        seen = unmapped(before);
    }
    return household(seen);
}

bool Access::isHostOurs(std::string_view host) const {
    const std::string name = inSmallLetters(withoutPort(host));
    return isAddress(name) || std::find(hosts_.begin(), hosts_.end(), name) != hosts_.end();
}

bool Access::isOriginOurs(std::string_view origin, std::string_view host) const {
    if (origin.empty())
        return true;
    const auto scheme = origin.find("://");
    if (scheme == std::string_view::npos)
        return false;
    return inSmallLetters(origin.substr(scheme + 3)) == inSmallLetters(host);
}

bool Access::isOwnMachine(const Asking& asking) const {
    return unmapped(asking.peer).is_loopback() && !asking.forwarded && !isProxy(asking.peer);
}

bool Access::maySteer(const Asking& asking, std::string_view token) const {
    return token_.empty() ? isOwnMachine(asking) : sameToken(token, token_);
}

bool Access::mayReadStatus(const Asking& asking, std::string_view token) const {
    return isOwnMachine(asking) || maySteer(asking, token);
}

std::string Access::whyNot() const {
    return token_.empty() ? "Only the hub's own machine may move the receiver."
                          : "Only who has the token may move the receiver.";
}

} // namespace feedline::hub::web
