// SPDX-License-Identifier: MIT
// A model of the server among failing calls: which calls it makes, which of them the faults of this
// process hit, and what must come of that.
#pragma once

#include "Bytes.h"
#include "ReceiverFailures.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace feedline::test {

/// Each method is something that happens to the server, in the order in which it does; the fields
/// then say what must be seen of it. One thread at a time.
struct ExpectedServer {
    explicit ExpectedServer(const Receiver& receiver) : receiver_(receiver) {}

    /// The receiver is opened, again or for the first time; returns the initialisation's result.
    int initialise();

    void setUp();     ///< its threads are started: sender and control port
    bool accept();    ///< a client connects; false when the listener is given up instead
    void receive();   ///< the TCP thread asks for the client's next bytes
    bool reply();     ///< a reply is written; false when it does not arrive
    void lose();      ///< the client goes, or a restart closes its connection
    void endAccept(); ///< a restart closes the socket that the thread waits on
    void endThreads();

    void start();               ///< the client runs the receiver ...
    void tune();                ///< ... tunes it ...
    void stop();                ///< ... and stops it
    void moveGains();           ///< every gain is set by itself, then all of them at once
    void tick(int seconds = 1); ///< the window is brought up to date

    /// A streaming receiver hands over a block of so many datagrams, whose samples all have this
    /// value.
    void deliver(std::int16_t value, std::size_t count);

    std::map<std::string, int> calls; ///< so far, by the names that Fault uses
    std::vector<std::string> lines, alerts;
    std::int32_t status = tcpWaiting;
    bool receiverOpen = false; ///< a handle is held
    bool running = false;      ///< a start was asked for, and no stop since
    bool delivering = false;   ///< a start succeeded, and no stop since
    bool udpThread = false;
    bool listening = false;            ///< a TCP thread has its own descriptor of the listener
    bool connected = false;            ///< there is a client, and it has not been lost
    std::size_t datagramSockets = 0;   ///< left behind so far
    std::size_t listenersLeftOpen = 0; ///< by a thread that ended
    std::vector<Bytes> datagrams;      ///< sent, and not looked at yet

private:
    bool fails(const std::string& function);
    bool fails(const std::string& function, const std::string& line);
    bool reaches(const std::string& function);
    int initialised(const InitStep& failed);
    void startUdpThread();
    void startTcpThread();
    void failToAccept();
    void sendRing();
    void send(std::uint16_t number, std::int16_t value, bool hasSocket);
    void sendFromAirspy(std::int16_t value, std::size_t count);

    const Receiver& receiver_;
    bool ring_ = false;
    std::deque<std::int16_t> inRing_; ///< a datagram's worth each: its samples' value
    std::uint16_t udpNumber_ = 0, airspyNumber_ = 0;
    bool airspySocket_ = false;
    std::int32_t airspyPairs_ = 0; ///< since the last tick
};

} // namespace feedline::test
