// SPDX-License-Identifier: MIT
// What the datagrams that have come say about the stream: order, loss, rate.
#pragma once

#include "tools/client/DatagramSocket.h"
#include "tools/client/RateMeter.h"
#include "tools/client/SequenceTracker.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace feedline::client {

struct ReceptionFigures {
    SequenceCounts counts;
    std::uint64_t malformed = 0;   ///< datagrams of another length or with another header
    std::uint64_t overflowed = 0;  ///< datagrams that this machine's receive buffer had no room for
    double currentRate = 0;        ///< IQ pairs a second, 0 when unknown
    double overallRate = 0;        ///< IQ pairs a second, 0 when unknown
    std::int64_t firstArrival = 0; ///< ns since 1970, 0 before the first datagram
};

class Reception {
public:
    /// A verdict for each of the block's datagrams. One thread.
    /// @param overflowed  DatagramSocket::overflowed()
    void judge(const DatagramBlock& block, std::uint32_t overflowed,
               std::vector<Verdict>& verdicts);

    /// Any thread.
    ReceptionFigures figures() const;

private:
    mutable std::mutex mutex_; ///< guards everything below
    SequenceTracker tracker_;
    RateMeter rate_;
    std::uint64_t malformed_ = 0;
    std::uint64_t overflowed_ = 0;
    std::int64_t firstArrival_ = 0;
};

} // namespace feedline::client
