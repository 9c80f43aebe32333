// SPDX-License-Identifier: MIT
// One session with the real server over either emulated receiver, slow enough for a busy machine to
// lose nothing on the way: samples come at a quarter of their rate, and their clock waits for a
// host that is late. What becomes of every sample can then be said exactly, by numbers and phases
// and not by the time that things took.
#pragma once

#include "ControlConnection.h"
#include "ControlMessages.h"
#include "EmulatedServer.h"
#include "Spectrum.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace feedline::test {

/// What the tests need to know of a receiver.
struct ReceiverKind {
    ReceiverType type;
    const char* device;   ///< the emulator's name for it
    const char* name;     ///< as the server gives it
    double rate;          ///< pairs per second
    std::uint32_t centre; ///< hertz; `plainScene` has a carrier 50 kHz above
    std::size_t datagramsPerTransfer;
    std::size_t settlingTransfers; ///< of the library's filters
};
const ReceiverKind& hfKind();
const ReceiverKind& airspyKind();
void PrintTo(const ReceiverKind& kind, std::ostream* out);

class ReceiverSession : public ::testing::Test {
protected:
    /// @param more  variables of the server's environment
    explicit ReceiverSession(const ReceiverKind& kind,
                             const std::map<std::string, std::string>& more = {});
    /// The end of every session: on request, with status 0 and the settings saved.
    void TearDown() override;

    /// Tunes to the kind's centre, and runs.
    void start(const ControlConnection& client) const;

    /// Datagrams of all that the receiver has delivered so far.
    std::size_t delivered();

    /// The place in the stream from which on everything was received after what the server did
    /// before this call, with the library's filters settled.
    std::size_t settledFrom();

    /// Every number follows the one before but for `restarts` new counts from 0; what this test's
    /// own receive buffer had no room for does not count.
    void expectNothingLost(std::size_t restarts = 0) const;

    /// A spectrum from there on has its strongest line at that offset, 60 dB above its floor.
    void expectCarrier(double hertz, std::size_t from) const;

    /// The carrier's phase runs on through all of them, so that not one pair is missing.
    void expectSteadyCarrier(double hertz, std::size_t from, std::size_t datagrams) const;

    const ReceiverKind& kind;
    StreamedServer server;
};

/// The log's lines but for those of every second.
std::vector<std::string> linesOf(const ServerProcess& process);

} // namespace feedline::test
