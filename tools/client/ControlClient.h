// The control connection, from the client's end.
#pragma once

#include "protocol/ControlMessage.h"
#include "tools/client/UniqueFd.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace feedline::client {

/// One question at a time, each with its answer. All functions throw Failure with one clear line.
/// For one thread.
class ControlClient {
public:
    using Bytes = std::vector<std::uint8_t>;
    using Seconds = std::chrono::duration<double>;

    /// Connects. A server that has just lost a client refuses connections for some seconds; `wait`
    /// says for how long to go on trying then.
    ControlClient(const std::string& host, std::uint16_t port, Seconds timeout, Seconds wait);

    std::string targetName();
    std::string serialNumber();
    std::uint16_t item0004();
    std::uint8_t status(); ///< 11 idle, 12 running

    void setRunning(bool running);
    void setFrequency(std::uint32_t hertz);

    /// How long the last answer took.
    Seconds roundTrip() const { return roundTrip_; }

    /// For poll(): readable when the server has closed the connection, or said something unasked.
    int fd() const { return socket_.get(); }
    /// Reads away what has come unasked. False when the connection has ended.
    bool alive();

private:
    Bytes request(ControlItem item);
    void set(ControlItem item, const Bytes& parameters);
    Bytes exchange(MessageType type, ControlItem item, const Bytes& parameters);
    void send(const Bytes& message);
    Bytes receive();
    void receiveInto(Bytes& message, std::size_t length, std::chrono::steady_clock::time_point end);
    [[noreturn]] void fail(const std::string& what) const;

    std::string server_; ///< as the user knows it
    Seconds timeout_;
    UniqueFd socket_;
    Seconds roundTrip_{};
};

} // namespace feedline::client
