// SPDX-License-Identifier: MIT
// Every piece of state that the threads of the server share, in one place.
//
// Threads: main (launch, panel, actions), TCP (control connection), UDP (HF+ samples), and the
// vendor libraries' callback threads. Nothing here is guarded by a lock: each value is written
// whole by its owners and may be read a moment late by everyone else. The ring's write index alone
// publishes something, see stream/SampleRing.h.
#pragma once

#include "app/Shared.h"

#include <atomic>
#include <cstdint>
#include <thread>

struct airspyhf_device;
struct airspy_device;

namespace feedline {

/// The codes of `deviceType`, which are the indices of the device pop-up; any other value means
/// that there is no receiver.
enum DeviceType : std::int32_t { deviceAirspyHf = 0, deviceAirspy = 1 };

/// The codes of `tcpStatus`.
enum TcpStatus : std::int32_t {
    tcpConnected = 0,      ///< a client is being served
    tcpWaiting = -1,       ///< nobody has connected yet
    tcpBindFailed = -2,    ///< the port could not be had; nothing listens
    tcpConnectFailed = -3, ///< accepting failed; nothing listens
    tcpDisconnected = -4,  ///< the client has gone; the server comes back after five seconds
};

// Settings in force

/// TCP control port and UDP destination port, of which the sockets use the low 16 bits. Main
/// writes; TCP, UDP and libairspy's thread read.
inline Shared<std::int32_t> serverPortNumber{50000};

/// UDP destination, dotted IPv4. Main writes at launch; UDP and libairspy's thread read.
inline SharedText udpAddress;

/// A DeviceType, or any other value for no receiver. Main writes; main and TCP read.
inline Shared<std::int32_t> deviceType{deviceAirspyHf};

// Control server

/// Keeps both server threads running. Main and TCP write; TCP and UDP read.
inline Shared<bool> serverActive{true};

/// A TcpStatus. TCP and main write; main reads.
inline Shared<std::int32_t> tcpStatus{tcpWaiting};

/// Descriptors, -1 when none. TCP makes them and keeps one of its own beside each, which it blocks
/// on; whoever closes one takes it first with an exchange to -1 (main at a restart, TCP when the
/// client has gone), so that none is ever closed twice.
inline Shared<std::int32_t> listenSocket{-1};
inline Shared<std::int32_t> clientSocket{-1};

/// The client's dotted IPv4 address, empty when none. TCP writes, main at launch; main reads.
inline SharedText remoteAddress;

/// The same address as the socket gave it (network byte order), 0 when none. TCP writes.
inline Shared<std::uint32_t> remoteAddressRaw{0};

/// The threads that the last server set-up started. Main only.
inline std::thread::id udpThread;
inline std::thread::id tcpThread;

// Receiver

/// The open receivers, null when none. Main writes (initialisation); main and TCP read.
inline Shared<airspyhf_device*> hfDevice{nullptr};
inline Shared<airspy_device*> airspyDevice{nullptr};

/// 1 when a start was requested and no stop since, whatever became of it. TCP writes; main and TCP
/// read.
inline Shared<std::uint8_t> isStreaming{0};

/// Hertz, as last requested. Main (initialisation) and TCP write; main reads.
inline Shared<std::int32_t> centerFrequency{0};

/// IQ pairs the AirSpy delivered since the last tick. libairspy's thread adds, main logs and
/// zeroes; an addition between those two is lost, and nothing but that log line depends on it.
inline Shared<std::int32_t> samplesStreamed{0};

// HF+ sample ring (stream/SampleRing.h)

/// 16,777,216 entries, null until the first start. TCP writes once; libairspyhf's thread and UDP
/// read.
inline Shared<std::int16_t*> sampleRing{nullptr};

/// Next entry to be written, 0 to 0xFFFFFF, even between pairs. libairspyhf's thread stores with
/// release order, UDP loads with acquire order.
inline std::atomic<std::int32_t> ringWriteIndex{0};

/// Next entry to be read, 0 to 0xFFFFFF, a multiple of 512. UDP writes and reads.
inline Shared<std::int32_t> ringReadIndex{0};

// AirSpy sender, libairspy's thread only

/// Its datagram socket, -1 until it is made; kept for the life of the process.
inline Shared<std::int32_t> udpSocket{-1};

/// Number of the next datagram; never reset.
inline Shared<std::uint16_t> dataSequence{0};

} // namespace feedline
