// SPDX-License-Identifier: MIT
// What the command line and the configuration file ask for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace feedline::hub {

/// Who may move the receiver. A frequency inside the received band moves nothing, whoever asks; but
/// who may move it and listens alone gets a band that holds all of his channel.
enum class Tuning {
    first, ///< whoever came first, until he leaves
    any,   ///< everybody
    locked ///< nobody
};

/// Ports of 0 switch an output off.
struct Configuration {
    std::string serverHost = "127.0.0.1";
    std::uint16_t serverPort = 50000; ///< TCP, and the UDP port that its datagrams come to
    std::string listen = "127.0.0.1"; ///< IPv4 address of this machine for all outputs
    std::uint16_t native = 50001;     ///< TCP, and the UDP port that datagrams go to
    std::uint16_t rtlTcp = 1234;      ///< TCP
    std::uint16_t zmq = 50010;        ///< TCP: fc32 here, sc16 on the next, state on the one after
    std::uint16_t web = 50080;        ///< TCP
    std::string webToken; ///< lets pages move the receiver; empty: pages on this machine alone may
    std::vector<std::string> webHosts; ///< names that pages may be asked for, beside this machine's
    std::vector<std::string> webProxies; ///< addresses of proxies that name whom they forward for
    Tuning tuning = Tuning::first;
    std::optional<std::uint32_t> rate;      ///< received IQ pairs a second; without it, measured
    std::optional<std::uint32_t> frequency; ///< Hz, tuned to at the start
    double linger = 10;                     ///< seconds that the receiver runs on without listeners
    unsigned listeners = 250;               ///< at most, in all
    unsigned perAddress = 50;               ///< at most, from one address
    std::string onSilence;                  ///< command; empty for none
    bool json = false;                      ///< JSON lines on standard output
    bool status = false;                    ///< ask the running hub and print
};

} // namespace feedline::hub
