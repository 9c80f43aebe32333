// SPDX-License-Identifier: MIT
// Datagrams as the receive thread would hand them over.
#pragma once

#include "tools/client/Batch.h"

namespace feedline::test {

/// All samples have the value of the position, so that a test can see which datagram they are of;
/// the sender's rate is 768000 pairs a second.
inline client::ReceivedDatagram datagramAt(std::int64_t position,
                                           client::Arrival arrival = client::Arrival::inOrder) {
    constexpr std::int64_t begin = 1'763'719'200'250'000'000; // 2025-11-21 10:00:00.25 UTC
    client::ReceivedDatagram datagram{{arrival, position}, begin + position * 1'000'000 / 3, {}};
    datagram.samples.fill(static_cast<std::int16_t>(position));
    return datagram;
}

inline client::BatchPointer batchOf(std::initializer_list<std::int64_t> positions) {
    client::Batch batch;
    for (const std::int64_t position : positions)
        batch.push_back(datagramAt(position));
    return std::make_shared<const client::Batch>(std::move(batch));
}

} // namespace feedline::test
