// SPDX-License-Identifier: MIT
// The real server over receivers on the air, as a client's developer would try it: feedlined (or
// feedline) with settings, a port and a session of its own.
#pragma once

#include "EmulatorControl.h"
#include "Loopback.h"
#include "ReceivedStream.h"
#include "ServerProcess.h"
#include "TemporaryFolder.h"

#include <cstdint>
#include <map>
#include <string>

namespace feedline::test {

/// Types of receiver as the settings name them.
enum ReceiverType { receiverHf = 0, receiverAirspy = 1, noReceiver = 2 };

constexpr double hfRate = 768000;      ///< pairs per second
constexpr double airspyRate = 2500000; ///< pairs per second

/// A carrier 50 kHz above the two frequencies that tests tune to, and noise.
constexpr auto plainScene = "carrier 7.150M -20\ncarrier 100.050M -20\nnoise -129\n";
constexpr std::uint32_t hfCentre = 7100000;
constexpr std::uint32_t airspyCentre = 100000000;

struct Emulated {
    std::string devices = "hf";
    std::string faults{};
    std::string scene = plainScene;
    std::map<std::string, std::string> more{}; ///< further variables
    Program program = Program::feedlined;
    bool fails = false; ///< the test has the receiver fail while it streams
};

/// Nobody receives its datagrams: the UDP port is free for the program under test.
class EmulatedServer {
public:
    explicit EmulatedServer(int type, const Emulated& emulated = {});

    std::uint16_t port() const { return port_; }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

protected:
    /// On a port that somebody else keeps.
    EmulatedServer(std::uint16_t port, int type, const Emulated& emulated);

private:
    ServerProcess::Launch launchOf(const Emulated& emulated) const;

    TemporaryFolder folder_;
    ReservedPort reserved_;
    std::uint16_t port_;

public:
    const Settings settings; ///< as given, and to be found again at the end
    ServerProcess process;
    EmulatorControl receiver; ///< the emulated ones: faults, pulling out, their state
};

namespace detail {
struct StreamFirst {
    ReceivedStream datagrams;
};
} // namespace detail

/// With its datagrams, from the first one on.
class StreamedServer : public detail::StreamFirst, public EmulatedServer {
public:
    explicit StreamedServer(int type, const Emulated& emulated = {})
        : EmulatedServer(datagrams.port(), type, emulated) {}
};

} // namespace feedline::test
