// SPDX-License-Identifier: MIT
// The control connection, from the client's end. The messages are drawn byte by byte in
// docs/protocol.md.
#pragma once

#include "protocol/ControlMessage.h"
#include "tools/client/Endpoint.h"
#include "tools/client/UniqueFd.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace feedline::client {

constexpr std::uint8_t statusIdle = 11;
constexpr std::uint8_t statusRunning = 12;

/// One question at a time, each with its answer. All functions throw Failure with one clear line;
/// after Trouble::noAnswer and Trouble::cancelled the connection is of no more use, since a late
/// answer would be taken for that to the next question. For one thread.
class ControlClient {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// Connects. A name that is no dotted address is looked up first, which takes what the system's
    /// resolver takes.
    explicit ControlClient(const Endpoint& endpoint, const TimeLimits& limits = {});

    std::string targetName();
    std::string serialNumber();
    std::uint16_t item0004();
    std::uint8_t status(); ///< statusIdle or statusRunning

    /// IQ pairs a second, if the other end tells. A hub does. A server leaves the question
    /// unanswered, so the status is asked right behind it, and whichever answer comes first says
    /// which of the two this is: no time-out is waited for.
    std::optional<std::uint32_t> sampleRate();

    /// The frequency in force in hertz, if the other end is a hub that tells. Not to be asked of a
    /// server, which leaves this question unanswered, too.
    std::optional<std::uint32_t> frequency();

    void setRunning(bool running);
    void setFrequency(std::uint32_t hertz);
    /// Returns the rate that the echo holds, in IQ pairs a second: a hub rounds to what it has; a
    /// server echoes any rate and keeps its own.
    std::uint32_t setSampleRate(std::uint32_t pairsPerSecond);

    /// How long the last answer took.
    Seconds roundTrip() const { return roundTrip_; }

    /// Stops the receiver, whatever answers are still outstanding, and waits for the confirmation
    /// so that nothing can cut the message short. Never throws; the connection is of no use then.
    void stopAndLeave(Seconds limit) noexcept;

    /// Dotted IPv4 address that the connection comes from.
    std::string localAddress() const;

    /// For poll(): readable when the server has closed the connection, or said something unasked.
    int fd() const { return socket_.get(); }
    /// Reads away what has come unasked. False when the connection has ended.
    bool alive();

private:
    using Clock = std::chrono::steady_clock;
    Bytes request(ControlItem item);
    void set(ControlItem item, const Bytes& parameters);
    Bytes exchange(MessageType type, ControlItem item, const Bytes& parameters);
    Bytes parametersOf(const Bytes& answer, ControlItem item) const;
    void send(const Bytes& message);
    Bytes receive(Clock::time_point end);
    void receiveInto(Bytes& message, std::size_t length, Clock::time_point end);
    [[noreturn]] void fail(const std::string& what) const;

    std::string server_; ///< as the user knows it
    TimeLimits limits_;
    UniqueFd socket_;
    Seconds roundTrip_{};
};

} // namespace feedline::client
