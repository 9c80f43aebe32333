// SPDX-License-Identifier: MIT
// The device's connection to its server: made when first needed, and what is known through it.
#pragma once

#include "tools/client/Receivers.h"
#include "tools/client/ServerSession.h"
#include "tools/soapy/Arguments.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace feedline::soapy {

/// Any thread may call all functions. Those that need the server make the connection. The first of
/// them waits for it as long as the arguments say; once that time is over later ones do without, so
/// that a program whose server is away is held up once.
class ServerLink {
public:
    explicit ServerLink(Arguments arguments);
    ~ServerLink();
    ServerLink(const ServerLink&) = delete;
    ServerLink& operator=(const ServerLink&) = delete;

    /// What the receive side wants to know, called on the connection's thread.
    struct Listener {
        std::function<void()> reconnected;
    };
    void setListener(Listener listener);

    /// Connects. False, with one line in the log, when that does not succeed in time.
    /// @param waitAgain  wait again, though an earlier wait was in vain
    bool reach(bool waitAgain = false);

    /// Ends the connection, and with it the calls of the listener; the last thing that is called.
    void disconnect();

    /// Brings in force. False, with one line in the log, when that does not succeed in time.
    bool setRunning(bool running);
    void setFrequency(std::uint32_t hertz);

    /// The receiver behind the server, as far as known; needs the server.
    const client::ReceiverKind& kind();
    /// Of the present or last connection. Does not connect.
    std::optional<client::ServerFacts> facts() const;

    /// IQ pairs a second: what the arguments say, what a hub tells, what was measured, or the usual
    /// one of the receiver's name. Never 0. Connects only where the answer depends on it.
    double rate();
    /// Whether the rate need not be measured.
    bool rateIsTold();
    void setMeasuredRate(double pairsPerSecond);
    /// On a hub the channel's rate is set; a server keeps its own, which one line in the log says.
    void setRate(double pairsPerSecond);

    std::uint64_t reconnections() const;
    /// Samples have come. Any thread, cheap; only while the connection is used.
    void noteSamples();

private:
    void observe(const client::ServerSession::Event& event);
    void noteConnection(unsigned count);
    double knownRate() const;
    client::ServerSession& session();
    client::ServerSession* sessionIfAny() const;

    const Arguments arguments_;
    mutable std::mutex mutex_; ///< guards everything below but the session itself
    Listener listener_;
    std::optional<double> measured_;
    std::string name_; ///< of the receiver, at the last connection
    std::chrono::steady_clock::time_point firstWaitEnds_;
    std::unique_ptr<client::ServerSession> session_; ///< made once
};

} // namespace feedline::soapy
