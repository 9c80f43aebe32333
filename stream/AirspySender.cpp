// SPDX-License-Identifier: MIT
// The AirSpy's samples go straight from the library's thread to the network. Socket and destination
// are made with the first block and kept for the life of the process; datagrams are sent whether or
// not a client is connected.

#include "app/RunTimeState.h"
#include "platform/Log.h"
#include "stream/DatagramSocket.h"
#include "stream/SampleCallbacks.h"

#include <cstring>

namespace feedline {
namespace {

sockaddr_in destination;

/// Wraps beyond 32 bits, as the count may where no tick zeroes it (an AirSpy that was forgotten).
void countSamples(std::int32_t pairs) {
    samplesStreamed = static_cast<std::int32_t>(static_cast<std::uint32_t>(samplesStreamed.load()) +
                                                static_cast<std::uint32_t>(pairs));
}

void sendPairs(DatagramBuffer& buffer, const std::uint8_t* samples) {
    const std::uint16_t sequence = dataSequence;
    datagram::putHeader(buffer.data(), sequence);
    // The number is used up whether or not the send succeeds, so that the client sees the gap.
    dataSequence = static_cast<std::uint16_t>(sequence + 1U);
    std::memcpy(buffer.samples(), samples, datagram::sampleBytes);
    datagram::samplesToWire(buffer.data());
    sendDatagram(udpSocket, buffer, destination);
}

} // namespace

int airspySampleCallback(airspy_transfer_t* transfer) {
    if (udpSocket == -1) {
        udpSocket = makeDatagramSocket();
        destination = datagramDestination();
    }
    const auto* samples = static_cast<const std::uint8_t*>(transfer->samples);
    const int datagrams = transfer->sample_count / static_cast<int>(datagram::pairs);
    // One buffer for the block, on the caller's stack: a forgotten receiver may still stream beside
    // the open one.
    DatagramBuffer buffer;
    for (int k = 0; k < datagrams; ++k)
        sendPairs(buffer, samples + k * datagram::sampleBytes);
    countSamples(transfer->sample_count);
    if (transfer->dropped_samples != 0)
        logLine("myCallback %d %d %llu %f %f", transfer->sample_type, transfer->sample_count,
                static_cast<unsigned long long>(transfer->dropped_samples), 9999999.0, 0.0);
    return 0;
}

} // namespace feedline
