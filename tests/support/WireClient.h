// A network SDR client of the tests' own, written from the wire formats: the control connection and
// the receiver of the datagrams. Loopback only.
#pragma once

#include <chrono>
#include <complex>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace feedline::test {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::complex<float>>; ///< full scale is 1

/// One control connection. Methods belong to one thread.
class ControlConnection {
public:
    /// Connects, as soon as somebody listens; `connected` is false if nobody did for long.
    explicit ControlConnection(std::uint16_t port);
    ~ControlConnection();
    ControlConnection(const ControlConnection&) = delete;
    ControlConnection& operator=(const ControlConnection&) = delete;

    bool connected() const { return socket_ >= 0; }

    /// False once the other side is gone.
    bool send(const Bytes& bytes) const;

    /// Sends the bytes over and over until nothing more has gone out for a second.
    void sendUntilStuck(const Bytes& bytes) const;

    /// The next message, by its length byte; empty when the connection ends or nothing comes.
    Bytes receive() const;

    /// Sends and receives.
    Bytes ask(const Bytes& message) const;

    /// True when something can be read, or the end seen, within the time.
    bool readable(std::chrono::milliseconds within) const;

    /// True when the server ends the connection, whatever it sends before.
    bool waitForEnd() const;

    void close(); ///< in the orderly way
    void reset(); ///< abruptly: the server's receive fails

    /// As a machine that loses its power: the other side hears nothing. False where the system
    /// reserves that for root.
    bool vanish();

private:
    int socket_ = -1;
};

/// Whether anybody listens on the port right now.
bool listening(std::uint16_t port);

/// Another program that has the port.
class ControlListener {
public:
    explicit ControlListener(std::uint16_t port);
    ~ControlListener();
    ControlListener(const ControlListener&) = delete;
    ControlListener& operator=(const ControlListener&) = delete;

private:
    int socket_ = -1;
};

// Requests and settings.
Bytes askName();
Bytes askSerial();
Bytes askItem4();
Bytes askStatus();
Bytes setState(std::uint8_t second); ///< 2 runs
Bytes setFrequency(std::uint32_t hertz);
Bytes echoOfFrequency(std::uint32_t hertz);

/// Brings the server's framing back to the start of a message, wherever it was. What it takes for
/// messages on the way may be answered.
Bytes resynchronise();

/// A port of loopback that is free for TCP and taken for UDP by the socket that comes with it.
class LocalPort {
public:
    LocalPort();
    ~LocalPort();
    LocalPort(const LocalPort&) = delete;
    LocalPort& operator=(const LocalPort&) = delete;
    std::uint16_t port() const { return port_; }
    int descriptor() const { return socket_; }

private:
    int socket_ = -1;
    std::uint16_t port_ = 0;
};

/// Receives datagrams from its making on, on a thread of its own, with a receive buffer of 4 MiB or
/// more where the system allows it. Methods: any thread.
class StreamClient {
public:
    StreamClient();
    ~StreamClient();
    StreamClient(const StreamClient&) = delete;
    StreamClient& operator=(const StreamClient&) = delete;

    std::uint16_t port() const { return socket_.port(); }

    struct Arrival {
        std::uint16_t number;
        std::chrono::nanoseconds time; ///< when the kernel had it, by the wall clock
    };
    struct Counts {
        std::size_t datagrams = 0;
        std::size_t malformed = 0; ///< of another length or header
        std::size_t gaps = 0;      ///< numbers that do not follow the one before
        std::size_t fromZero = 0;  ///< of the gaps, those to the number 0
    };
    Counts counts() const;
    std::vector<Arrival> arrivals() const; ///< of every datagram so far

    bool waitForDatagrams(std::size_t inAll) const;

    /// Waits until none has come for the time; false if they never cease.
    bool waitForSilence(std::chrono::milliseconds length) const;

    /// The pairs of so many datagrams in a row, beginning with one that arrives `after` so many in
    /// all; fewer pairs when they do not come.
    Samples samples(std::size_t datagrams, std::size_t after) const;
    Samples nextSamples(std::size_t datagrams) const;

private:
    void receiveAll();
    void take(const std::uint8_t* data, std::size_t length, std::chrono::nanoseconds time);
    bool waitUntil(const std::function<bool()>& condition) const;

    LocalPort socket_;
    int stop_ = -1;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Counts counts_;
    std::vector<Arrival> arrivals_;
    std::deque<Bytes> kept_; ///< the newest, for their samples
    std::thread thread_;
};

/// Pairs per second by the times of arrival: the slope of the line through the first datagrams of
/// every `burst`, so that one that was late counts for little.
double pairRate(const std::vector<StreamClient::Arrival>& arrivals, std::size_t burst);

} // namespace feedline::test
