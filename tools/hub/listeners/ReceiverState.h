// SPDX-License-Identifier: MIT
// The state of the one receiver that all listeners share.
#pragma once

#include <cstdint>
#include <string>

namespace feedline::hub {

struct ReceiverState {
    bool connected = false;      ///< the server is there
    bool running = false;        ///< samples are wanted from it, and come or should come
    bool silent = false;         ///< they should come and do not
    std::string name;            ///< target name as the server says it, empty while unknown
    std::string serial;          ///< serial number as the server says it, empty while unknown
    std::uint32_t frequency = 0; ///< centre frequency in force, Hz
    std::uint32_t rate = 0;      ///< received IQ pairs a second, 0 while unknown
    bool operator==(const ReceiverState&) const = default;
};

/// Counts since the hub began.
struct ReceiverFigures {
    std::uint64_t received = 0;      ///< IQ pairs
    std::uint64_t lostOnNetwork = 0; ///< IQ pairs missing by the datagrams' numbers
    std::uint64_t lostInHub = 0;  ///< IQ pairs for which this machine's receive buffer had no room
    std::uint64_t overflowed = 0; ///< datagrams that this machine's receive buffer had no room for
    std::uint64_t reconnections = 0; ///< times the server was found again
    std::uint64_t silences = 0;      ///< times the stream stopped by itself
    double lastSilence = 0;          ///< seconds without samples while they were wanted
    double longestSilence = 0;       ///< seconds
    double measuredRate = 0;         ///< IQ pairs a second, 0 while unknown
};

} // namespace feedline::hub
