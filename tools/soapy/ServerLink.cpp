// SPDX-License-Identifier: MIT
#include "tools/soapy/ServerLink.h"

#include "tools/soapy/Log.h"

#include <cmath>
#include <utility>

namespace feedline::soapy {

namespace {

using Clock = std::chrono::steady_clock;
using client::Seconds;

constexpr Seconds promptLimit{1.0}; // for what a server that is there does at once

Clock::time_point after(Seconds seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(seconds);
}

std::string hertz(double rate) {
    return std::to_string(std::llround(rate));
}

} // namespace

ServerLink::ServerLink(Arguments arguments) : arguments_(std::move(arguments)) {}

ServerLink::~ServerLink() {
    disconnect();
}

// The session's thread may be in observe(), which takes the lock: it is waited for without.
void ServerLink::disconnect() {
    std::unique_ptr<client::ServerSession> ending;
    {
        const std::lock_guard lock(mutex_);
        ending = std::move(session_);
    }
}

void ServerLink::setListener(Listener listener) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
}

client::ServerSession& ServerLink::session() {
    const std::lock_guard lock(mutex_);
    if (!session_) {
        firstWaitEnds_ = after(arguments_.wait);
        client::ServerSession::Settings settings;
        settings.endpoint = arguments_.endpoint;
        session_ = std::make_unique<client::ServerSession>(
            settings, [this](const client::ServerSession::Event& event) { observe(event); });
        if (arguments_.rate)
            session_->setSampleRate(static_cast<std::uint32_t>(std::llround(*arguments_.rate)));
    }
    return *session_;
}

client::ServerSession* ServerLink::sessionIfAny() const {
    const std::lock_guard lock(mutex_);
    return session_.get();
}

bool ServerLink::reach(bool waitAgain) {
    client::ServerSession& server = session();
    if (server.connected())
        return true;
    const Seconds limit = waitAgain ? arguments_.wait : Seconds(firstWaitEnds_ - Clock::now());
    if (limit <= Seconds(0))
        return false;
    const std::string trouble = server.settle(limit);
    if (!trouble.empty())
        log(SOAPY_SDR_ERROR, trouble);
    return trouble.empty();
}

bool ServerLink::setRunning(bool running) {
    client::ServerSession& server = session();
    server.setRunning(running);
    if (!running) {
        if (server.connected())
            server.settle(promptLimit);
        return true;
    }
    const std::string trouble = server.settle(arguments_.wait);
    if (trouble.empty())
        return true;
    log(SOAPY_SDR_ERROR, trouble);
    server.setRunning(false);
    return false;
}

void ServerLink::setFrequency(std::uint32_t hertz) {
    const bool there = reach();
    client::ServerSession& server = session();
    server.setFrequency(hertz);
    if (there)
        server.settle(promptLimit);
}

const client::ReceiverKind& ServerLink::kind() {
    reach();
    const auto known = facts();
    return client::receiverKind(known ? known->name : "");
}

std::optional<client::ServerFacts> ServerLink::facts() const {
    const client::ServerSession* const server = sessionIfAny();
    return server == nullptr ? std::nullopt : server->facts();
}

double ServerLink::rate() {
    if (!arguments_.rate)
        reach();
    return knownRate();
}

double ServerLink::knownRate() const {
    const auto known = facts();
    if (known && known->hubRate.value_or(0) != 0)
        return *known->hubRate;
    if (arguments_.rate)
        return *arguments_.rate;
    {
        const std::lock_guard lock(mutex_);
        if (measured_)
            return *measured_;
    }
    return client::receiverKind(known ? known->name : "").usualRate;
}

bool ServerLink::rateIsTold() {
    const auto known = facts();
    return arguments_.rate || (known && known->isHub());
}

void ServerLink::setMeasuredRate(double pairsPerSecond) {
    const double before = knownRate();
    {
        const std::lock_guard lock(mutex_);
        measured_ = pairsPerSecond;
    }
    if (pairsPerSecond != before)
        log(SOAPY_SDR_WARNING, "the receiver's sample rate is " + hertz(pairsPerSecond) + ", not " +
                                   hertz(before) + "; rate=" + hertz(pairsPerSecond) +
                                   " among the arguments tells a program beforehand");
}

void ServerLink::setRate(double pairsPerSecond) {
    reach();
    const auto known = facts();
    if (known && known->isHub() && pairsPerSecond >= 1 && pairsPerSecond < 4e9) {
        session().setSampleRate(static_cast<std::uint32_t>(std::llround(pairsPerSecond)));
        session().settle(promptLimit);
    }
    if (std::abs(rate() - pairsPerSecond) >= 1)
        log(SOAPY_SDR_WARNING, "the sample rate is " + hertz(rate()) + "; the " +
                                   hertz(pairsPerSecond) + " asked for cannot be had");
}

std::uint64_t ServerLink::reconnections() const {
    const client::ServerSession* const server = sessionIfAny();
    const std::uint64_t made = server == nullptr ? 0 : server->connections();
    return made == 0 ? 0 : made - 1;
}

void ServerLink::noteSamples() {
    if (client::ServerSession* const server = sessionIfAny())
        server->noteSamples();
}

void ServerLink::observe(const client::ServerSession::Event& event) {
    using Kind = client::ServerSession::Event::Kind;
    switch (event.kind) {
    case Kind::connected:
        noteConnection(event.count);
        break;
    case Kind::apart:
        // Before the first connection it is for reach() to say what is wrong.
        if (event.count == 1 && facts())
            log(SOAPY_SDR_WARNING, event.line + "; trying again");
        break;
    case Kind::silent:
        if (event.count == 1)
            log(SOAPY_SDR_WARNING, event.line);
        break;
    case Kind::resumed:
        log(SOAPY_SDR_INFO, event.line);
        break;
    }
}

void ServerLink::noteConnection(unsigned count) {
    std::function<void()> reconnected;
    std::string before;
    const auto known = facts();
    const std::string name = known ? known->name : std::string();
    {
        const std::lock_guard lock(mutex_);
        reconnected = listener_.reconnected;
        before = std::exchange(name_, name);
        if (before != name)
            measured_.reset();
    }
    if (count == 1)
        return;
    log(SOAPY_SDR_INFO, "connected to " + arguments_.endpoint.server() + " again");
    if (before != name)
        log(SOAPY_SDR_WARNING, "the receiver is an " + name + " now, not an " + before);
    if (reconnected)
        reconnected();
}

} // namespace feedline::soapy
