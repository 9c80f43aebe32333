// SPDX-License-Identifier: MIT
// Puts the datagrams back into the order in which they were sent.
#pragma once

#include "tools/client/Batch.h"

#include <functional>
#include <map>

namespace feedline::client {

/// Holds later datagrams back while an earlier one is missing, until it comes or more than
/// `mostHeldBack` later ones have; then the missing ones are a gap. What comes after that is left
/// out. Not synchronised.
class StreamAssembler {
public:
    static constexpr std::size_t mostHeldBack = 256; ///< datagrams

    /// Called in order, from within add() and finish(); the first call is with the first datagram.
    struct Receiver {
        std::function<void(const ReceivedDatagram& datagram)> datagram;
        /// Datagrams from the stream's place `from` to `to` - 1 are missing.
        std::function<void(std::int64_t from, std::int64_t to)> gap;
    };

    explicit StreamAssembler(Receiver receiver) : receiver_(std::move(receiver)) {}

    void add(const ReceivedDatagram& datagram);
    /// Gives out what is still held back.
    void finish();

private:
    void release(std::size_t mayWait);

    Receiver receiver_;
    std::map<std::int64_t, ReceivedDatagram> waiting_; ///< by place
    std::int64_t next_ = 0;
    bool started_ = false;
};

} // namespace feedline::client
