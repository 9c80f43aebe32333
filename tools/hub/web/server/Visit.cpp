// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/Visit.h"

#include "tools/hub/log/Log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <cctype>
#include <chrono>
#include <cmath>
#include <netinet/tcp.h>
#include <utility>

namespace feedline::hub::web {

namespace {

namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;

constexpr double wishesPerSecond = 40; // a pointer that drags an edge makes 30
constexpr double wishesAtOnce = 120;
constexpr int unsentBytes =
    16384; // in the system's own queue, where nothing can be dropped any more

// Small messages leave at once, and what the connection has no room for waits here and not in the
// system, where it would only become old.
void prepare(boost::asio::ip::tcp::socket& socket) {
    error_code ignored;
    socket.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
#ifdef TCP_NOTSENT_LOWAT
    setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &unsentBytes,
               sizeof unsentBytes);
#endif
}

websocket::stream_base::timeout timeouts() {
    websocket::stream_base::timeout limits{};
    limits.handshake_timeout = std::chrono::seconds(10);
    limits.idle_timeout = std::chrono::seconds(30);
    limits.keep_alive_pings = true;
    return limits;
}

double since(Clock::time_point moment) {
    return std::chrono::duration<double>(Clock::now() - moment).count();
}

} // namespace

Visit::Visit(beast::tcp_stream&& stream, Service& service, Asking asking,
             std::shared_ptr<void> place)
    : socket_(std::move(stream)), service_(service), asking_(std::move(asking)),
      address_(service.access.addressOf(asking_)), place_(std::move(place)), received_(longestWish),
      wishes_(wishesPerSecond, wishesAtOnce) {}

void Visit::begin(const Upgrade& upgrade) {
    prepare(beast::get_lowest_layer(socket_).socket());
    beast::get_lowest_layer(socket_).expires_never();
    socket_.set_option(timeouts());
    socket_.read_message_max(longestWish);
    socket_.auto_fragment(false);
    // Copied: the request goes while the answer is under way.
    const auto request = std::make_shared<const Upgrade>(upgrade);
    socket_.async_accept(*request, [self = shared_from_this(), request](const error_code& error) {
        if (error)
            return;
        self->say(welcomeText());
        self->read();
    });
}

void Visit::read() {
    socket_.async_read(received_,
                       [self = shared_from_this()](const error_code& error, std::size_t bytes) {
                           if (error == websocket::error::message_too_big ||
                               error == websocket::error::buffer_overflow)
                               self->fail("a message that is too long");
                           if (!error && !self->ending_)
                               self->take(bytes);
                           if (error)
                               self->listener_.reset();
                       });
}

void Visit::take(std::size_t bytes) {
    const std::string text(static_cast<const char*>(received_.data().data()), bytes);
    received_.clear();
    if (!wishes_.take())
        return fail("too many messages");
    if (!socket_.got_text())
        return fail("a binary message");
    try {
        std::visit([this](const auto& wish) { obey(wish); }, parseWish(text));
    } catch (const BadWish& bad) {
        return fail(bad.what());
    }
    if (!ending_)
        read();
}

// Whoever says hello again comes as a new listener: with the token, he may be the first who may
// tune.
void Visit::obey(const HelloWish& wish) {
    maySteer_ = service_.access.maySteer(asking_, wish.token);
    try {
        join();
    } catch (const Refused& full) {
        return end(std::string("Full: ") + full.what() + ". Try again in a while.");
    }
    service_.visits.add(socket_.get_executor(), weak_from_this());
    service_.visits.tellSoon();
}

void Visit::join() {
    if (listener_)
        throw BadWish("a second hello");
    ListenerRequest request;
    request.output = "web";
    request.address = address_;
    request.tunes = maySteer_;
    request.wake = [executor = socket_.get_executor(), weak = weak_from_this()] {
        boost::asio::post(executor, [weak] {
            if (const auto self = weak.lock())
                self->hear();
        });
    };
    listener_ = service_.receiver.join(request);
}

void Visit::obey(const ViewWish& wish) {
    view_ = wish.view;
}

void Visit::obey(const ListenWish& wish) {
    if (!listener_)
        throw BadWish("no hello");
    const bool sameMode = listening_ && listening_->listening.mode == wish.listening.mode;
    listening_ = wish;
    const ModeTraits& mode = traits(wish.listening.mode);
    const TuneResult result = listener_->tune(wish.frequency);
    listener_->setRate(static_cast<std::uint32_t>(mode.channelRate));
    listener_->setDetail(std::string(mode.name));
    if (stream_ && sameMode)
        stream_->set(wish.listening);
    else
        listen();
    say(listeningText(wish, result));
}

void Visit::obey(const SoundWish& wish) {
    if (!listener_)
        throw BadWish("no hello");
    codec_ = wish.sound;
    listen();
}

void Visit::obey(const RunWish& wish) {
    if (!listener_)
        throw BadWish("no hello");
    watching_ = wish.running ? service_.watch->hold() : nullptr;
    if (!wish.running)
        outbox_.forgetFrames();
    listen();
}

// Gains change what everybody hears, as moving the receiver does. Whoever may not sees his control
// go back.
void Visit::obey(const GainWish& wish) {
    if (!listener_)
        throw BadWish("no hello");
    if (listener_->mayTune() && service_.gains.set(wish.place, wish.value))
        return;
    lastState_.clear();
    service_.visits.tellSoon();
}

void Visit::obey(const PingWish& wish) {
    say(pongText(wish.at));
}

// The channel is read while there is sound to be made of it.
void Visit::listen() {
    if (stream_)
        soundSequence_ = stream_->sequence();
    stream_.reset();
    const bool wanted = watching_ && listening_ && codec_ != Sound::off;
    if (wanted) {
        stream_.emplace(listening_->listening, codec_, soundSequence_);
        pairs_.resize(static_cast<std::size_t>(traits(listening_->listening.mode).channelRate) /
                      50);
    }
    if (listener_->running() != wanted)
        listener_->run(wanted);
}

void Visit::hear() {
    if (!listener_ || !stream_ || ending_)
        return;
    const auto rate = static_cast<std::uint32_t>(traits(listening_->listening.mode).channelRate);
    for (;;) {
        const Reading reading = listener_->read(std::span(pairs_));
        if (reading.pairs == 0)
            break;
        if (reading.rate != rate) // From before the mode has changed.
            continue;
        stream_->add(std::span(pairs_).first(reading.pairs), since(reading.arrival),
                     [this](Frame frame) { outbox_.addSound(std::move(frame)); });
    }
    send();
}

void Visit::show(const TimedRow& timed) {
    if (!watching_ || ending_)
        return;
    RowHeader header;
    header.sequence = rowSequence_++;
    header.view = view_.value_or(timed.row->band());
    header.age = since(timed.arrival);
    header.level = levelFloor;
    if (listening_)
        header.level =
            timed.row->levelBetween(listening_->frequency + listening_->listening.edges.low,
                                    listening_->frequency + listening_->listening.edges.high);
    outbox_.addRow(makeRow(header, *timed.row));
    send();
}

void Visit::tell(const std::shared_ptr<const Overview>& overview) {
    if (!listener_ || ending_)
        return;
    if (stalled())
        return fail("nothing taken for " + std::to_string(static_cast<int>(Receiver::stallLimit)) +
                    " s");
    Standing standing;
    standing.number = listener_->number();
    standing.maySteer = maySteer_;
    standing.byToken = service_.access.byToken();
    standing.why = maySteer_ ? std::string() : service_.access.whyNot();
    standing.dropped = outbox_.dropped();
    std::string state = stateText(*overview, standing);
    if (state == lastState_)
        return;
    lastState_ = state;
    say(std::move(state));
}

bool Visit::stalled() const {
    return sendingNow_ && since(sendingSince_) > Receiver::stallLimit;
}

void Visit::say(std::string words) {
    outbox_.addWords(std::move(words));
    if (outbox_.hopeless())
        return fail("too many answers wait");
    send();
}

void Visit::send() {
    if (sendingNow_)
        return;
    auto next = outbox_.next();
    if (!next) {
        if (ending_)
            socket_.async_close(websocket::close_code::try_again_later,
                                [self = shared_from_this()](const error_code&) {});
        return;
    }
    sending_ = std::move(*next);
    sendingNow_ = true;
    sendingSince_ = Clock::now();
    const auto written = [self = shared_from_this()](const error_code& error, std::size_t bytes) {
        self->sendingNow_ = false;
        if (error)
            return self->listener_.reset();
        if (self->listener_ && std::holds_alternative<Frame>(self->sending_))
            self->listener_->sent(0, bytes);
        self->send();
    };
    const bool isText = std::holds_alternative<std::string>(sending_);
    socket_.text(isText);
    if (isText)
        socket_.async_write(boost::asio::buffer(std::get<std::string>(sending_)), written);
    else
        socket_.async_write(boost::asio::buffer(std::get<Frame>(sending_)), written);
}

// What waits is sent, then the connection is closed.
void Visit::end(const std::string& why) {
    if (std::exchange(ending_, true))
        return;
    listener_.reset();
    watching_.reset();
    outbox_.forgetFrames();
    say(goodbyeText(why));
}

void Visit::fail(const std::string& why) {
    log("web: " + address_ + " is cut off: " + why);
    ending_ = true;
    listener_.reset();
    watching_.reset();
    beast::get_lowest_layer(socket_).close();
}

} // namespace feedline::hub::web
