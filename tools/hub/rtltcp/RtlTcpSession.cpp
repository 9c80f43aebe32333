// SPDX-License-Identifier: MIT
#include "tools/hub/rtltcp/RtlTcpSession.h"

#include "tools/hub/log/Log.h"

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <cmath>
#include <numeric>
#include <utility>

namespace feedline::hub {
namespace {

using rtltcp::Code;

/// Bytes that may wait for a client: more than half a second at the highest rate.
constexpr std::size_t mostWaiting = std::size_t{4} << 20U;
constexpr std::size_t pairsAtATime = 4096;
/// What a client gets that asks for no rate, and the limits of what it may ask for.
constexpr std::uint32_t usualRate = 2048000;
constexpr std::uint32_t leastRate = 225001;
constexpr std::uint32_t mostRate = 3200000;
/// Corrections beyond this are a mistake of somebody's.
constexpr std::int32_t mostCorrection = 1000;

} // namespace

RtlTcpSession::RtlTcpSession(Connection::Socket socket, Receiver& receiver)
    : receiver_(receiver), connection_(std::move(socket), mostWaiting, Receiver::stallLimit) {}

void RtlTcpSession::begin() {
    const std::weak_ptr<RtlTcpSession> weak = weak_from_this();
    const auto executor = connection_.executor();
    try {
        listener_ = receiver_.join({.output = "rtl_tcp",
                                    .address = connection_.peerAddress(),
                                    .detail = "port " + std::to_string(connection_.peerPort()),
                                    .channel = {.rate = usualRate},
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
    connection_.start(
        shared_from_this(),
        {.received =
             [this](auto bytes) { commands_.add(bytes, [this](auto command) { obey(command); }); },
         .ended =
             [this](const std::string& why) {
                 leave(why);
             }});
    const auto greeting = rtltcp::greeting();
    connection_.send({greeting.begin(), greeting.end()});
    listener_->run(true);
}

void RtlTcpSession::leave(const std::string& why) {
    if (!listener_)
        return;
    note("is gone: " + why);
    listener_.reset();
    connection_.end(why);
}

/// Commands for parts that this receiver does not have are taken, and change nothing.
void RtlTcpSession::obey(rtltcp::Command command) {
    if (!listener_)
        return;
    switch (static_cast<Code>(command.code)) {
    case Code::frequency:
        frequency_ = command.value;
        return tune();
    case Code::correction:
        correction_ = std::clamp(command.signedValue(), -mostCorrection, mostCorrection);
        return tune();
    case Code::sampleRate:
        return setRate(command.value);
    case Code::gainMode:
        manual_ = command.value != 0;
        return useGain();
    case Code::gain:
        return setManualGain(command.signedValue() / 10.0);
    case Code::gainByIndex:
        return setGainByIndex(command.value);
    case Code::testMode:
        testing_ = command.value != 0;
        return;
    default:
        return;
    }
}

void RtlTcpSession::setRate(std::uint32_t pairsASecond) {
    if (pairsASecond >= leastRate && pairsASecond <= mostRate) {
        listener_->setRate(pairsASecond);
    } else if (!std::exchange(complained_, true)) {
        note("asks for " + std::to_string(pairsASecond) + " pairs a second and keeps " +
             std::to_string(listener_->rate()));
    }
}

void RtlTcpSession::setGainByIndex(std::uint32_t index) {
    if (index < rtltcp::gains.size())
        setManualGain(rtltcp::gains.at(index) / 10.0);
}

void RtlTcpSession::setManualGain(double decibels) {
    constexpr double most = 100;
    gain_ = std::clamp(decibels, -most, most);
    manual_ = true;
    useGain();
}

void RtlTcpSession::useGain() {
    if (manual_)
        scaler_.setGain(gain_);
    else
        scaler_.followSignal();
}

/// A receiver that is so many millionths too high is tuned so much lower.
void RtlTcpSession::tune() {
    if (frequency_ == 0)
        return;
    const double corrected = frequency_ / (1 + correction_ * 1e-6);
    const auto hertz = static_cast<std::uint32_t>(
        std::min(std::round(corrected), static_cast<double>(UINT32_MAX)));
    const TuneResult result = listener_->tune(hertz);
    if (!result.covered)
        note("hears silence at " + std::to_string(hertz) + " Hz: " + result.why);
}

void RtlTcpSession::takeSamples() {
    std::array<std::complex<float>, pairsAtATime> pairs; // NOLINT: written before it is read
    while (listener_) {
        const Reading reading = listener_->read(std::span<std::complex<float>>(pairs));
        if (reading.pairs == 0)
            return;
        Connection::Bytes bytes = bytesOf(std::span(pairs).first(reading.pairs), reading.rate);
        const std::size_t size = bytes.size();
        if (connection_.send(std::move(bytes)))
            listener_->sent(reading.pairs, size);
        else
            listener_->dropped(reading.pairs);
    }
}

Connection::Bytes RtlTcpSession::bytesOf(std::span<const std::complex<float>> pairs,
                                         std::uint32_t rate) {
    Connection::Bytes bytes(2 * pairs.size());
    if (testing_)
        std::generate(bytes.begin(), bytes.end(), [this] { return counter_++; });
    else
        scaler_.convert(pairs, rate, bytes);
    return bytes;
}

void RtlTcpSession::note(const std::string& line) const {
    log("rtl_tcp " + connection_.peerAddress() + ":" + std::to_string(connection_.peerPort()) +
        " " + line);
}

} // namespace feedline::hub
