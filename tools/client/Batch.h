// SPDX-License-Identifier: MIT
// What the receive thread hands to the workers.
#pragma once

#include "stream/DataDatagram.h"
#include "tools/client/SequenceTracker.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace feedline::client {

struct ReceivedDatagram {
    Verdict verdict;
    std::int64_t nanoseconds;                            ///< arrival, since 1970 (UTC)
    std::array<std::int16_t, datagram::entries> samples; ///< I, Q, I, Q, ... in host order
};

/// Some datagrams in the order of their arrival; read by several threads, changed by none.
using Batch = std::vector<ReceivedDatagram>;
using BatchPointer = std::shared_ptr<const Batch>;

} // namespace feedline::client
