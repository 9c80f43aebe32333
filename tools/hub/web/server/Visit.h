// SPDX-License-Identifier: MIT
// One page that is connected: what it wishes, what it holds, what it gets.
#pragma once

#include "tools/hub/listeners/Listener.h"
#include "tools/hub/web/safety/RateLimit.h"
#include "tools/hub/web/server/Outbox.h"
#include "tools/hub/web/server/Service.h"
#include "tools/hub/web/server/SoundStream.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace feedline::hub::web {

/// Lives as long as its connection, or a message to it that is under way. Everything happens on the
/// connection's own executor; the functions of Visitor are called there, too.
class Visit : public Visitor, public std::enable_shared_from_this<Visit> {
public:
    using Upgrade = boost::beast::http::request<boost::beast::http::empty_body>;

    /// @param place  among the connections, given back when the visit ends
    Visit(boost::beast::tcp_stream&& stream, Service& service, Asking asking,
          std::shared_ptr<void> place);

    /// Answers the request to become a WebSocket, and begins.
    void begin(const Upgrade& upgrade);

    void show(const TimedRow& row) override;
    void tell(const std::shared_ptr<const Overview>& overview) override;

private:
    void read();
    void take(std::size_t bytes);
    void obey(const HelloWish& wish);
    void obey(const ViewWish& wish);
    void obey(const ListenWish& wish);
    void obey(const SoundWish& wish);
    void obey(const RunWish& wish);
    void obey(const GainWish& wish);
    void obey(const PingWish& wish);

    void join();
    void listen();
    void hear();
    void say(std::string words);
    void send();
    void end(const std::string& why);
    void fail(const std::string& why);
    bool stalled() const;

    boost::beast::websocket::stream<boost::beast::tcp_stream> socket_;
    Service& service_;
    const Asking asking_;
    const std::string address_;
    std::shared_ptr<void> place_;

    boost::beast::flat_buffer received_;
    RateLimit wishes_;
    Outbox outbox_;
    Outbox::Message sending_;
    bool sendingNow_ = false;
    bool ending_ = false; ///< what waits is still sent, and nothing more is read
    Clock::time_point sendingSince_;

    bool maySteer_ = false;
    std::string lastState_;
    std::optional<View> view_; ///< the whole band without one
    std::optional<ListenWish> listening_;
    Sound codec_ = Sound::off;
    std::shared_ptr<void> watching_; ///< rows are wanted
    std::uint16_t rowSequence_ = 0;
    std::uint16_t soundSequence_ = 0;
    std::optional<SoundStream> stream_;
    std::vector<std::complex<float>> pairs_;
    std::unique_ptr<Listener> listener_;
};

} // namespace feedline::hub::web
