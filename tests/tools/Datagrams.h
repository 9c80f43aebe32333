// Datagrams as the receive thread would hand them over.
#pragma once

#include "probe/Batch.h"

namespace feedline::testing {

/// All samples have the value of the position, so that a test can see which datagram they are of;
/// the sender's rate is 768000 pairs a second.
inline probe::ReceivedDatagram datagramAt(std::int64_t position,
                                          probe::Arrival arrival = probe::Arrival::InOrder) {
    constexpr std::int64_t begin = 1'763'719'200'250'000'000; // 2025-11-21 10:00:00.25 UTC
    probe::ReceivedDatagram datagram{{arrival, position}, begin + position * 1'000'000 / 3, {}};
    datagram.samples.fill(static_cast<std::int16_t>(position));
    return datagram;
}

inline probe::BatchPointer batchOf(std::initializer_list<std::int64_t> positions) {
    probe::Batch batch;
    for (const std::int64_t position : positions)
        batch.push_back(datagramAt(position));
    return std::make_shared<const probe::Batch>(std::move(batch));
}

} // namespace feedline::testing
