// SPDX-License-Identifier: MIT
// One program that listens, with the channel it hears.
//
// An output makes one for each connection (Receiver::join), uses it from its own thread, and ends
// the visit by destroying it. Everything here is for that one thread, unless it says otherwise.
//
// The round of a listener:
//     listener = receiver.join({.output = "native", .address = "192.0.2.7", .wake = ...});
//     listener->run(true);              // the receiver starts if it does not run
//     ... wake is called: post to the output's own thread, and there
//     while ((reading = listener->read(buffer)).pairs != 0) send it;
//     listener->sent(bytes);            // or dropped(pairs), when the socket has no room
// wake is called once and then not again before a read has come back with 0 pairs.
#pragma once

#include "tools/hub/band/Channel.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace feedline::hub {

class Receiver;

struct ListenerRequest {
    std::string output;  ///< "native", "rtl_tcp", "zmq", "web": for people and for status
    std::string address; ///< of the program, without port; counts for the limit per address
    std::string detail;  ///< what distinguishes it: port, name of a program, mode; may be empty
    ChannelRequest channel;
    /// Whether it can ask for frequencies at all. Who cannot is never the first, and never moves
    /// the receiver.
    bool tunes = true;
    /// Whether it takes a place among --listeners and --per-address.
    bool counts = true;
    /// Called on a thread of the band with a lock held: must only post to the output's own thread,
    /// and call nothing of the hub. Not called any more once the Listener is destroyed, which waits
    /// for a call under way.
    std::function<void()> wake;
};

/// What became of a wish for a frequency.
struct TuneResult {
    std::uint32_t frequency = 0; ///< Hz, the listener's own: as asked
    bool moved = false;          ///< the receiver follows
    bool covered = true;         ///< inside the band, as it will be: false means silence
    std::string why; ///< in words, when it is not covered: "the receiver is locked", ...
};

class Listener {
public:
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Starts or stops listening. While anybody listens the receiver runs. A start hears what comes
    /// from then on.
    void run(bool running);
    bool running() const;

    /// Own frequency. Moves the receiver only when needed and allowed; returns at once, the
    /// receiver follows in its own time.
    TuneResult tune(std::uint32_t hertz);
    /// Own rate: the one in force, rounded as Rates.h says.
    std::uint32_t setRate(std::uint32_t pairsASecond);
    /// Back to the whole band as it is received.
    void takeWholeBand();

    Reading read(std::span<std::complex<float>> to);
    Reading read(std::span<std::int16_t> to);

    /// For the figures: what really left for the program, and what did not because its connection
    /// had no room. Pairs at the listener's rate.
    void sent(std::uint64_t pairs, std::uint64_t bytes);
    void dropped(std::uint64_t pairs);
    /// Replaces the text from the request.
    void setDetail(const std::string& detail);

    /// Own centre frequency, Hz; 0 while unknown.
    std::uint32_t frequency() const;
    /// What a read-back should say, Hz: the own frequency while it is inside the band, as it is or
    /// is about to be; otherwise the receiver's, since that is what is really received.
    std::uint32_t heardFrequency() const;
    std::uint32_t rate() const; ///< 0 while unknown
    bool mayTune() const;       ///< may move the receiver, as the rule and the others are now
    bool covered() const;
    bool exact() const;

    /// Unique since the hub began.
    std::uint64_t number() const;

    class Body;                                    ///< private to this room
    explicit Listener(std::shared_ptr<Body> body); ///< by Receiver::join

private:
    template <typename Value>
    Reading readInto(std::span<Value> to);
    std::shared_ptr<Body> body_;
};

/// A listener for status.
struct ListenerReport {
    std::uint64_t number = 0;
    std::string output;
    std::string address;
    std::string detail;
    bool running = false;
    bool counts = true;          ///< a program's; otherwise the hub's own
    bool mayTune = false;        ///< may move the receiver
    std::uint32_t frequency = 0; ///< Hz
    std::uint32_t rate = 0;      ///< IQ pairs a second
    bool exact = false;          ///< hears the received samples bit for bit
    bool covered = false;        ///< its frequency is inside the band
    double seconds = 0;          ///< since it came
    std::uint64_t sentPairs = 0;
    std::uint64_t sentBytes = 0;
    std::uint64_t lostUpstream = 0; ///< pairs that never reached the hub
    std::uint64_t lostSlow = 0;     ///< pairs that went by while it did not read
    std::uint64_t dropped = 0;      ///< pairs that its connection had no room for
};

} // namespace feedline::hub
