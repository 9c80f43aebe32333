// SPDX-License-Identifier: MIT
// What the user typed: "driver=feedline,host=antenna,bind=192.168.1.5".
#pragma once

#include "tools/client/DatagramSocket.h"
#include "tools/client/Endpoint.h"

#include <SoapySDR/Types.hpp>
#include <optional>
#include <string>

namespace feedline::soapy {

struct Arguments {
    /// host, port, bind. A port may also follow the host's name: "host=antenna:50001".
    client::Endpoint endpoint;
    std::optional<double> rate; ///< IQ pairs a second; without it, it is found out
    double ppm = 0;             ///< millionths that the receiver is tuned higher by
    double offset = 0;          ///< Hz of a converter before the receiver, added when tuning
    int buffer = client::DatagramSocket::usualBuffer; ///< bytes of receive buffer to ask for
    client::Seconds wait{10};                         ///< for a server that is busy or restarting
    client::Seconds giveUp{0}; ///< without samples, after which the device is lost; 0: never

    /// "HOST:PORT", and where it is reached from when that was given: differs for each device.
    std::string label() const;
    /// For the datagrams; "0.0.0.0" when nothing was given.
    std::string datagramAddress() const;
};

/// Never throws: what is not understood is left at its default and said in one line of the log.
Arguments readArguments(const SoapySDR::Kwargs& given);

/// Whether the keys can be meant for this module: each is one of ours or one that every module
/// gets. With another key only an explicit "driver=feedline" is.
bool areOurs(const SoapySDR::Kwargs& given);

/// Those of the given pairs that say which device is meant, and how to use it.
SoapySDR::Kwargs ownOf(const SoapySDR::Kwargs& given);

/// A number as people write it: "768000", "768k", "2.5M". Nothing when it is none.
std::optional<double> readNumber(const std::string& text);

} // namespace feedline::soapy
