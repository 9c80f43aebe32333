// SPDX-License-Identifier: MIT
#include "ExpectedServer.h"

#include "Faults.h"
#include "stream/DataDatagram.h"

namespace feedline::test {

/// The server makes a call. True when a fault hits it.
bool ExpectedServer::fails(const std::string& function) {
    return isToFail(function, ++calls[function]);
}

/// The same, where a failure is one line.
bool ExpectedServer::fails(const std::string& function, const std::string& line) {
    const bool hit = fails(function);
    if (hit)
        lines.push_back(line);
    return hit;
}

/// A null handle is not handed to the library.
bool ExpectedServer::reaches(const std::string& function) {
    return receiverOpen && !fails(function);
}

int ExpectedServer::initialise() {
    receiverOpen = false;
    for (const InitStep& step : receiver_.init) {
        const bool failed = fails(step.function);
        if (failed && !step.line.empty())
            lines.push_back(step.line);
        if (failed && step.result != 0)
            return initialised(step);
        receiverOpen |= !step.leavesNoReceiver;
    }
    return 0;
}

int ExpectedServer::initialised(const InitStep& failed) {
    receiverOpen = !failed.leavesNoReceiver;
    if (const auto found = receiver_.alertsByResult.find(failed.result);
        found != receiver_.alertsByResult.end())
        alerts.insert(alerts.end(), found->second.begin(), found->second.end());
    return failed.result;
}

void ExpectedServer::setUp() {
    if (!fails("thread", "UDPThread could not be started"))
        startUdpThread();
    if (!fails("thread", "TCPThread could not be started"))
        startTcpThread();
}

void ExpectedServer::startUdpThread() {
    lines.emplace_back("*** UDP Thread  0");
    if (fails("datagram socket", "cannot create UDP send socket\n"))
        return;
    ++datagramSockets;
    udpThread = true;
    udpNumber_ = 0;
    sendRing();
}

void ExpectedServer::startTcpThread() {
    status = tcpWaiting;
    if (fails("control socket", "TCPThread Could not create socket") ||
        fails("dup", "TCPThread Could not create socket"))
        return;
    lines.emplace_back("TCPThread Socket created\n");
    fails("setsockopt", "setsockopt\n");
    if (fails("bind", "TCPThread bind failed. Error\n")) {
        status = tcpBindFailed;
        listenersLeftOpen = 1;
        return;
    }
    lines.emplace_back("TCPThread bind done\n");
    // Nobody looks at the result of listen: accepting fails then.
    const bool listens = !fails("listen");
    lines.emplace_back("TCPThread Waiting for incoming connections...\n");
    if (fails("accept") || !listens)
        failToAccept();
    else
        listening = true;
}

void ExpectedServer::failToAccept() {
    endAccept();
    listening = false;
    listenersLeftOpen = 1;
}

void ExpectedServer::endAccept() {
    lines.emplace_back("TCPThread accept failed client_sock = -1 \r\n");
    status = tcpConnectFailed;
}

bool ExpectedServer::accept() {
    if (fails("dup")) {
        failToAccept();
        return false;
    }
    status = tcpConnected;
    connected = true;
    return true;
}

void ExpectedServer::receive() {
    if (fails("recv", "TCPThread recv failed\n"))
        connected = false;
}

bool ExpectedServer::reply() {
    return !fails("write");
}

void ExpectedServer::lose() {
    lines.emplace_back("TCPThread Client disconnected\n");
    connected = false;
}

void ExpectedServer::endThreads() {
    listening = false;
    if (udpThread)
        lines.emplace_back("UDPThread exit\n");
    udpThread = false;
}

void ExpectedServer::start() {
    if (running)
        return; // Not asked twice.
    running = true;
    if (!ring_ && fails("mmap", "sample ring of 33554432 bytes could not be made: Cannot allocate "
                                "memory"))
        return;
    ring_ = true;
    if (!reaches(receiver_.startFunction))
        lines.push_back(receiver_.startLine);
    else
        delivering = true;
}

void ExpectedServer::stop() {
    if (!running)
        return;
    running = false;
    if (!reaches(receiver_.stopFunction))
        lines.push_back(receiver_.startLine);
    else
        delivering = false;
}

void ExpectedServer::tune() {
    if (reaches(receiver_.tuneFunction))
        return;
    lines.push_back(receiver_.tuneLine);
    alerts.push_back(receiver_.tuneAlert);
}

void ExpectedServer::moveGains() {
    if (receiver_.type != deviceAirspy || !receiverOpen)
        return;
    // The library is asked stage by stage first and for the presets last, each time.
    for (const char* gain : {"lna_gain", "mixer_gain", "vga_gain", "lna_agc", "mixer_agc",
                             "linearity_gain", "sensitivity_gain"}) {
        const std::string function = std::string("airspy_set_") + gain;
        fails(function); // A control's own call says nothing of its failure.
        fails(function, function + " error");
    }
}

void ExpectedServer::tick(int seconds) {
    if (receiver_.type != deviceAirspy || !receiverOpen)
        return;
    for (int i = 0; i < seconds; ++i) {
        const int streaming = fails("airspy_is_streaming") ? receiver_.error : 0;
        lines.push_back("iStreaming " + std::to_string(streaming) +
                        "  samples: " + std::to_string(airspyPairs_));
        airspyPairs_ = 0;
    }
}

void ExpectedServer::deliver(std::int16_t value, std::size_t count) {
    if (receiver_.type == deviceAirspy)
        return sendFromAirspy(value, count);
    inRing_.insert(inRing_.end(), count, value);
    if (udpThread)
        sendRing();
}

void ExpectedServer::sendFromAirspy(std::int16_t value, std::size_t count) {
    if (!airspySocket_ && !fails("datagram socket")) {
        airspySocket_ = true;
        ++datagramSockets;
    }
    for (std::size_t i = 0; i < count; ++i)
        send(airspyNumber_++, value, airspySocket_);
    airspyPairs_ += static_cast<std::int32_t>(count * datagram::pairs);
}

void ExpectedServer::sendRing() {
    for (; !inRing_.empty(); inRing_.pop_front())
        send(udpNumber_++, inRing_.front(), true);
}

void ExpectedServer::send(std::uint16_t number, std::int16_t value, bool hasSocket) {
    if (fails("sendto", "sendto failed\n"))
        return;
    if (!hasSocket) { // The system refuses it.
        lines.emplace_back("sendto failed\n");
        return;
    }
    Bytes bytes{4, 0x84, static_cast<std::uint8_t>(number & 0xFFU),
                static_cast<std::uint8_t>(number >> 8U)};
    for (std::size_t i = 0; i < datagram::entries; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
        bytes.push_back(0);
    }
    datagrams.push_back(bytes);
}

} // namespace feedline::test
