// SPDX-License-Identifier: MIT
// A connection to a server that outlives the server: what is wanted of it is brought in force, and
// again after each reconnection.
#pragma once

#include "tools/client/ControlClient.h"
#include "tools/client/Endpoint.h"
#include "tools/client/UniqueFd.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace feedline::client {

/// What the other end of a connection told about itself.
struct ServerFacts {
    std::string name;                     ///< "AirSpyHF+" or "AirSpy"
    std::optional<std::uint32_t> hubRate; ///< IQ pairs a second; a server tells none, a hub does
    std::optional<std::uint32_t> hubFrequency; ///< Hz, in force; only a hub can be asked for it
    std::string localAddress;                  ///< where the connection comes from, dotted
    bool isHub() const { return hubRate.has_value(); }
};

/// Works on a thread of its own from construction on. All functions may be called from any thread,
/// and none waits for the server but settle(), ask for ask, and the destructor (a second at most,
/// to stop a running receiver).
class ServerSession {
public:
    struct Settings {
        Endpoint endpoint;
        Seconds timeout{3.0};      ///< for a connection, and for each answer
        Seconds firstPause{0.25};  ///< after a connection that was lost or could not be made
        Seconds longestPause{4.0}; ///< each pause is half as long again as the one before
        /// A running receiver that sends nothing for so long is stopped and run again, first after
        /// this time, then again, then after twice, four times, ... as long, up to
        /// `longestSilence`. 0: never.
        Seconds silence{2.0};
        Seconds longestSilence{30.0};
    };

    struct Event {
        enum class Kind {
            connected, ///< for the first time, or again
            apart,     ///< the connection was lost, or could not be made: the line says why
            silent,    ///< running, but nothing comes; the receiver is being stopped and run again
            resumed,   ///< samples come again
        };
        Kind kind;
        std::string line; ///< for people
        unsigned count;   ///< how often in a row, from 1
    };
    /// Called on the session's thread, which waits for it. May call everything but the destructor
    /// and settle().
    using Observer = std::function<void(const Event& event)>;

    explicit ServerSession(Settings settings, Observer observer = {});
    /// Stops the receiver if it was to run, and closes the connection.
    ~ServerSession();
    ServerSession(const ServerSession&) = delete;
    ServerSession& operator=(const ServerSession&) = delete;

    /// Wanted from now on. Of several wishes for one thing that wait, only the last one is sent.
    void setRunning(bool running);
    void setFrequency(std::uint32_t hertz);
    /// Only a hub is asked for it: a server keeps its own rate.
    void setSampleRate(std::uint32_t pairsPerSecond);

    /// Waits until there is a connection and all that is wanted by now is in force. Empty on
    /// success; else, when the time is over, one line that says what is in the way.
    std::string settle(Seconds limit);

    /// Of the present connection, or of the last one; nothing before the first.
    std::optional<ServerFacts> facts() const;
    bool connected() const;
    /// Connections made so far.
    std::uint64_t connections() const;
    /// How long there has been no connection; 0 while there is one.
    Seconds apart() const;

    /// Samples have come: to be called for every block received. Costs two loads and a store.
    void noteSamples() { lastSamples_.store(now(), std::memory_order_relaxed); }

private:
    using Clock = std::chrono::steady_clock;
    struct Wanted {
        bool running = false;
        std::optional<std::uint32_t> frequency;
        std::optional<std::uint32_t> rate;
        std::uint64_t generation = 0; ///< counts the wishes
    };
    class Connection;

    static std::int64_t now() { return Clock::now().time_since_epoch().count(); }
    void run();
    void serve(Connection& connection, Seconds& length);
    void meet(const ServerFacts& facts);
    void bringInForce(Connection& connection);
    bool pause(Seconds& length);
    void part(const std::string& line);
    void tell(Event::Kind kind, const std::string& line, unsigned count);
    template <typename Change>
    void wish(Change change);

    const Settings settings_;
    const Observer observer_;
    UniqueFd stop_;                            ///< readable from the end on
    UniqueFd wake_;                            ///< readable when there are new wishes
    std::atomic<std::int64_t> lastSamples_{0}; ///< Clock's ticks

    mutable std::mutex mutex_; ///< guards everything down to the thread
    std::condition_variable changed_;
    Wanted wanted_;
    std::uint64_t settled_ = 0; ///< generation in force
    bool connected_ = false;
    std::uint64_t connections_ = 0;
    Clock::time_point apartSince_ = Clock::now();
    std::optional<ServerFacts> facts_;
    std::string trouble_; ///< why there is no connection, or why a wish is not in force

    unsigned failures_ = 0; ///< in a row, of the session's thread
    std::thread thread_;
};

} // namespace feedline::client
