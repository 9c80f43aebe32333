// SPDX-License-Identifier: MIT
#include "tools/hub/listeners/Listener.h"

#include "tools/hub/listeners/ListenerBody.h"
#include "tools/hub/listeners/ReceiverBody.h"

#include <utility>

namespace feedline::hub {

Listener::Listener(std::shared_ptr<Body> body) : body_(std::move(body)) {}

Listener::~Listener() {
    body_->receiver->leave(body_);
}

void Listener::run(bool running) {
    if (running && !body_->running)
        body_->channel.skip();
    body_->receiver->run(body_, running);
}

bool Listener::running() const {
    return body_->running;
}

TuneResult Listener::tune(std::uint32_t hertz) {
    TuneResult result = body_->receiver->tune(body_, hertz);
    body_->channel.request({false, hertz, body_->wantedRate});
    return result;
}

std::uint32_t Listener::setRate(std::uint32_t pairsASecond) {
    body_->channel.request(body_->receiver->wish(body_, [=](Body& body) {
        body.wantedRate = pairsASecond;
        body.wholeBand = false;
    }));
    return body_->channel.rate();
}

void Listener::takeWholeBand() {
    body_->channel.request(body_->receiver->wish(body_, [](Body& body) { body.wholeBand = true; }));
}

template <typename Value>
Reading Listener::readInto(std::span<Value> to) {
    Reading reading = body_->channel.read(to);
    if (reading.pairs == 0) {
        // What came between the read and this line is seen by the second read, what comes after it
        // wakes.
        body_->woken = false;
        reading = body_->channel.read(to);
    }
    body_->lostUpstream = body_->channel.losses().upstream;
    body_->lostSlow = body_->channel.losses().own;
    return reading;
}

Reading Listener::read(std::span<std::complex<float>> to) {
    return readInto(to);
}

Reading Listener::read(std::span<std::int16_t> to) {
    return readInto(to);
}

void Listener::sent(std::uint64_t pairs, std::uint64_t bytes) {
    body_->sentPairs += pairs;
    body_->sentBytes += bytes;
}

void Listener::dropped(std::uint64_t pairs) {
    body_->dropped += pairs;
}

void Listener::setDetail(const std::string& detail) {
    body_->receiver->wish(body_, [&](Body& body) { body.detail = detail; });
}

std::uint32_t Listener::frequency() const {
    return body_->channel.frequency();
}

std::uint32_t Listener::heardFrequency() const {
    const std::uint32_t target = body_->receiver->targetFrequency();
    return body_->receiver->covers(frequency()) ? frequency() : target;
}

std::uint32_t Listener::rate() const {
    return body_->channel.rate();
}

bool Listener::mayTune() const {
    return body_->receiver->mayMove(body_);
}

bool Listener::covered() const {
    return body_->receiver->covers(frequency());
}

bool Listener::exact() const {
    return body_->channel.exact();
}

std::uint64_t Listener::number() const {
    return body_->number;
}

} // namespace feedline::hub
