// SPDX-License-Identifier: MIT
#include "tools/hub/native/Session.h"

#include "tools/hub/log/Log.h"

#include <array>
#include <boost/asio/post.hpp>
#include <system_error>
#include <utility>

namespace feedline::hub {
namespace {

/// Bytes of answers that may wait for a client: it has stopped reading long before.
constexpr std::size_t mostAnswers = 16384;
/// Datagrams that may wait, some 100 ms of the fastest receiver.
constexpr std::size_t mostDatagrams = 4096;
/// Pairs that are read at a time.
constexpr std::size_t pairsAtATime = 4096;

} // namespace

Session::Session(Tcp::socket socket, Receiver& receiver, std::shared_ptr<Destinations> destinations)
    : receiver_(receiver), destinations_(std::move(destinations)),
      connection_(std::move(socket), mostAnswers, Receiver::stallLimit),
      address_(connection_.peerAddress()), tick_(connection_.executor()),
      framer_([this](std::span<const std::uint8_t> message) { return handle(message); }),
      queue_(mostDatagrams) {}

void Session::begin() {
    const std::weak_ptr<Session> weak = weak_from_this();
    const auto executor = connection_.executor();
    try {
        listener_ = receiver_.join({.output = "native",
                                    .address = address_,
                                    .detail = "port " + std::to_string(connection_.peerPort()),
                                    .channel = {},
                                    .wake = [weak, executor] {
                                        boost::asio::post(executor, [weak] {
                                            if (const auto session = weak.lock())
                                                session->takeSamples();
                                        });
                                    }});
    } catch (const Refused& refused) {
        return note(refused.what());
    }
    note("is here");
    connection_.start(shared_from_this(), {.received = [this](auto bytes) { received(bytes); },
                                           .ended =
                                               [this](const std::string& why) {
                                                   leave(why);
                                               }});
}

void Session::leave(const std::string& why) {
    if (!listener_)
        return;
    note("is gone: " + why);
    stop();
    listener_.reset();
    connection_.end(why);
}

void Session::received(std::span<const std::uint8_t> bytes) {
    if (const std::string wrong = framer_.add(bytes); !wrong.empty())
        connection_.end(wrong);
}

bool Session::handle(std::span<const std::uint8_t> message) {
    if (!listener_)
        return false; // Sent away by an answer before this one.
    Dialogue::Bytes answer = dialogue_.answer(message);
    if (!answer.empty() && !connection_.send(std::move(answer)))
        connection_.end("the client does not read the answers");
    return true;
}

std::string Session::targetName() const {
    return receiver_.state().name;
}

std::string Session::serialNumber() const {
    return receiver_.state().serial;
}

bool Session::run(bool running) {
    if (running && !listener_->running())
        return start();
    if (!running && listener_->running())
        stop();
    return true;
}

bool Session::start() {
    if (!destinations_->claim(address_)) {
        note("cannot run: another program at this address has its samples on port " +
             std::to_string(destinations_->port()));
        return false;
    }
    try {
        socket_.emplace(connection_.localAddress().to_string(), address_, destinations_->port());
    } catch (const std::system_error& error) {
        note(error.what());
        destinations_->release(address_);
        return false;
    }
    queue_.restart();
    listener_->run(true);
    return true;
}

void Session::stop() {
    if (!listener_ || !listener_->running())
        return;
    listener_->run(false);
    tick_.cancel();
    socket_.reset();
    queue_.restart();
    destinations_->release(address_);
}

void Session::tune(std::uint32_t hertz) {
    const TuneResult result = listener_->tune(hertz);
    if (!result.covered)
        note("hears silence at " + std::to_string(hertz) + " Hz: " + result.why);
}

std::uint32_t Session::setRate(std::uint32_t pairsASecond) {
    return listener_->setRate(pairsASecond);
}

void Session::takeSamples() {
    if (!listener_)
        return;
    std::array<std::int16_t, 2 * pairsAtATime> samples; // NOLINT: written before it is read
    for (;;) {
        const Reading reading = listener_->read(std::span<std::int16_t>(samples));
        if (reading.pairs == 0)
            break;
        if (socket_)
            take(reading, std::span(samples).first(2 * reading.pairs));
    }
    if (!ticking_)
        sendShare();
}

void Session::take(const Reading& reading, std::span<const std::int16_t> samples) {
    if (reading.fresh)
        queue_.breakOff();
    queue_.skip(reading.lost);
    pace_.setRate(reading.rate);
    if (const std::size_t refused = queue_.add(samples); refused != 0)
        listener_->dropped(refused);
}

/// Sends what may leave now, and comes back while something waits.
void Session::sendShare() {
    ticking_ = false;
    if (!socket_)
        return;
    std::size_t share = pace_.share(queue_.waiting());
    while (share > 0) {
        const auto datagrams = queue_.front(share);
        const std::size_t sent = socket_->send(datagrams);
        queue_.pop(sent);
        listener_->sent(sent * datagram::pairs, sent * datagram::size);
        share -= sent;
        if (sent * datagram::size < datagrams.size())
            break;
    }
    if (queue_.waiting() == 0)
        return;
    ticking_ = true;
    tick_.expires_after(Pace::tick);
    tick_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (error)
            self->ticking_ = false;
        else
            self->sendShare();
    });
}

void Session::note(const std::string& line) const {
    log("native " + address_ + ":" + std::to_string(connection_.peerPort()) + " " + line);
}

} // namespace feedline::hub
