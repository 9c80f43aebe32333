// SPDX-License-Identifier: MIT
#include "MemoryServer.h"

#include "RecordingLog.h"
#include "app/RunTimeState.h"
#include "stream/SampleRing.h"

#include <sys/mman.h>

namespace feedline::test {

void resetRunTimeState() {
    serverPortNumber = 50000;
    udpAddress.clear();
    deviceType = deviceAirspyHf;
    serverActive = true;
    tcpStatus = tcpWaiting;
    listenSocket = -1;
    clientSocket = -1;
    remoteAddress.clear();
    remoteAddressRaw = 0;
    hfDevice = nullptr;
    airspyDevice = nullptr;
    isStreaming = 0;
    centerFrequency = 0;
    samplesStreamed = 0;
    if (sampleRing != nullptr)
        ::munmap(sampleRing, ringBytes);
    sampleRing = nullptr;
    ringWriteIndex = 0;
    ringReadIndex = 0;
    udpSocket = -1;
    dataSequence = 0;
}

Server::Server() {
    resetRunTimeState();
    clearRecordedLines();
    fillOutlets(delegate);
}

Server& Server::make() {
    static auto& kept = *new std::vector<Server*>;
    return *kept.emplace_back(new Server);
}

} // namespace feedline::test
