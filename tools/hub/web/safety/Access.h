// SPDX-License-Identifier: MIT
// Who a request comes from, whether it may come at all, and whether it may steer.
//
// A page of another site can make a browser connect here, and a name of another site can be made to
// lead here. So the Host that a browser asked for must be one that is ours: an address, or a name
// from the list; and the Origin that a connection was made from must be the same. A client that is
// no browser can say what it likes there, and is held by the limits alone.
#pragma once

#include "tools/hub/config/Configuration.h"

#include <boost/asio/ip/address.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace feedline::hub::web {

/// What of a request's headers says who it comes from; empty for a header that is not there.
struct Asking {
    boost::asio::ip::address peer; ///< of the connection
    std::string host;              ///< Host
    std::string origin;            ///< Origin
    std::string forwardedFor;      ///< X-Forwarded-For, all lines, commas between
    bool forwarded = false;        ///< any header that proxies add is there
};

/// Immutable, any thread.
class Access {
public:
    explicit Access(const Configuration& configuration);

    /// The address that counts for limits: the peer's, or the one that a named proxy forwards for.
    /// Of an IPv6 address the first half, which is what one household gets.
    std::string addressOf(const Asking& asking) const;

    bool isHostOurs(std::string_view host) const;
    /// An empty origin is none, and passes.
    bool isOriginOurs(std::string_view origin, std::string_view host) const;

    /// A connection of this machine's own, which no proxy has made for somebody else.
    bool isOwnMachine(const Asking& asking) const;
    /// Whether it may move and stop the receiver: by the token, or without one from this machine.
    bool maySteer(const Asking& asking, std::string_view token) const;
    /// Whether it may read who listens: as maySteer(), and this machine always.
    bool mayReadStatus(const Asking& asking, std::string_view token) const;
    /// Whether there is a token.
    bool byToken() const { return !token_.empty(); }
    /// For people who may not steer.
    std::string whyNot() const;

private:
    bool isProxy(const boost::asio::ip::address& address) const;

    std::string token_;
    std::vector<std::string> hosts_; ///< in small letters
    std::vector<boost::asio::ip::address> proxies_;
};

} // namespace feedline::hub::web
