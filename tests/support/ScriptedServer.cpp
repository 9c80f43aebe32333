// SPDX-License-Identifier: MIT
#include "ScriptedServer.h"

#include "ControlMessages.h"
#include "Waiting.h"
#include "protocol/ControlMessage.h"

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

namespace feedline::test {
namespace {

bool receiveAll(int client, std::uint8_t* bytes, std::size_t count) {
    return count == 0 || recv(client, bytes, count, MSG_WAITALL) == static_cast<ssize_t>(count);
}

bool receiveMessage(int client, Bytes& message) {
    message.assign(control::headerSize, 0);
    if (!receiveAll(client, message.data(), message.size()))
        return false;
    message.resize(std::max<std::size_t>(message[0], control::headerSize));
    return receiveAll(client, message.data() + control::headerSize,
                      message.size() - control::headerSize);
}

} // namespace

ScriptedServer::ScriptedServer(Script script)
    : script_(std::move(script)), listener_(listenOn(port_.number())),
      udp_(makeSocket(SOCK_DGRAM)) {
    thread_ = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer() {
    shutdown(listener_.get(), SHUT_RDWR);
    hangUp();
    thread_.join();
}

ScriptedServer::Answer ScriptedServer::properAnswer(const Bytes& message) {
    if ((message[1] & control::typeMask) != TYPE_REQUEST_CITEM)
        return {message};
    switch (message[2]) {
    case itemTargetName:
        return {nameAnswer("AirSpyHF+")};
    case itemSerialNumber:
        return {serialAnswer()};
    case itemNumber0004:
        return {item4Answer()};
    case itemReceiverStatus:
        return {statusAnswer(idle)};
    default:
        return {};
    }
}

Bytes ScriptedServer::reply(const Bytes& message, const Bytes& parameters) {
    Bytes bytes{static_cast<std::uint8_t>(4 + parameters.size()), 0, message[2], message[3]};
    bytes.insert(bytes.end(), parameters.begin(), parameters.end());
    return bytes;
}

std::vector<Bytes> ScriptedServer::messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
}

bool ScriptedServer::waitForMessage(const Bytes& beginning) {
    const auto begins = [&](const Bytes& message) {
        return message.size() >= beginning.size() &&
               std::equal(beginning.begin(), beginning.end(), message.begin());
    };
    std::unique_lock lock(mutex_);
    return changed_.wait_for(
        lock, longestWait, [&] { return std::any_of(messages_.begin(), messages_.end(), begins); });
}

ScriptedServer::Answer ScriptedServer::ownAnswer(const Bytes& message) {
    const std::lock_guard lock(mutex_);
    return runs_ && message == askStatus() ? Answer{statusAnswer(running)} : properAnswer(message);
}

void ScriptedServer::obey(const Bytes& message) {
    if (message.size() != setState(runState).size() || message[2] != itemReceiverState)
        return;
    const bool runs = message[5] == runState;
    std::unique_ptr<ScriptedStream> old;
    {
        const std::lock_guard lock(mutex_);
        runs_ = runs;
        old = std::move(stream_);
    }
    // Without the lock: what a plan calls may ask this object.
    const std::optional<StreamPlan> rest = old ? std::optional(old->stop()) : std::nullopt;
    const std::lock_guard lock(mutex_);
    if (rest)
        plan_ = rest;
    if (runs && plan_)
        stream_ = std::make_unique<ScriptedStream>(port(), *plan_);
}

void ScriptedServer::streamWhenRun(StreamPlan plan) {
    const std::lock_guard lock(mutex_);
    plan_ = std::move(plan);
}

std::int64_t ScriptedServer::streamed() {
    const std::lock_guard lock(mutex_);
    return stream_ ? stream_->place() : plan_ ? plan_->firstPlace : 0;
}

void ScriptedServer::sendDatagram(std::uint16_t number, const Samples& samples) {
    sendToLoopback(udp_.get(), port(), wireDatagram(number, samples));
}

void ScriptedServer::sendBytes(const std::uint8_t* bytes, std::size_t count) {
    sendToLoopback(udp_.get(), port(), {bytes, count});
}

void ScriptedServer::hangUp() {
    const std::lock_guard lock(mutex_);
    hungUp_ = true;
    cutClientOff();
}

void ScriptedServer::dropClient() {
    const std::lock_guard lock(mutex_);
    cutClientOff();
}

void ScriptedServer::cutClientOff() const {
    if (client_ >= 0)
        shutdown(client_, SHUT_RDWR);
}

void ScriptedServer::serve() {
    for (;;) {
        const int client = accept(listener_.get(), nullptr, nullptr);
        if (client < 0)
            return;
        setClient(client);
        Bytes message;
        while (receiveMessage(client, message) && answer(client, message)) {
        }
        setClient(-1);
        close(client);
    }
}

void ScriptedServer::setClient(int client) {
    const std::lock_guard lock(mutex_);
    client_ = client;
    if (hungUp_ && client >= 0)
        shutdown(client, SHUT_RDWR);
}

bool ScriptedServer::answer(int client, const Bytes& message) {
    obey(message);
    const Answer answer = script_ ? script_(message) : ownAnswer(message);
    send(client, answer.bytes.data(), answer.bytes.size(), MSG_NOSIGNAL);
    {
        const std::lock_guard lock(mutex_);
        messages_.push_back(message);
    }
    changed_.notify_all();
    return !answer.thenClose;
}

} // namespace feedline::test
