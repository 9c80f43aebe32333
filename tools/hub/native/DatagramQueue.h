// SPDX-License-Identifier: MIT
// Datagrams that wait to be sent to one client.
#pragma once

#include "stream/DataDatagram.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace feedline::hub {

/// Cuts a stream of IQ pairs into numbered datagrams, which lie back to back in the order of their
/// numbers, ready for the wire. Bounded: pairs without room are refused. For one thread.
class DatagramQueue {
public:
    /// Memory is used for as many as ever wait at a time, not for all that may.
    /// @param most  datagrams that may wait
    explicit DatagramQueue(std::size_t most);

    /// Begins a run: nothing waits, the next number is 0.
    void restart();

    /// So many pairs will never come: the numbers of their datagrams are left out, at least one,
    /// so that the client sees the gap. What did not fill a datagram is dropped.
    void skip(std::uint64_t pairs);

    /// What did not fill a datagram is dropped; what comes next does not continue it.
    void breakOff() { filled_ = 0; }

    /// Adds I, Q, I, Q, ... in host order. The pairs that found no room; their numbers are left
    /// out.
    std::size_t add(std::span<const std::int16_t> samples);

    std::size_t waiting() const { return end_ - begin_; } ///< whole datagrams

    /// The first `count` waiting datagrams that lie together, at most all of them.
    std::span<const std::uint8_t> front(std::size_t count) const;
    void pop(std::size_t count);

private:
    std::uint8_t* slot(std::size_t at) { return bytes_.get() + at % capacity_ * datagram::size; }
    void finishDatagram();
    void goToTheFront();

    std::size_t capacity_; ///< datagrams
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t begin_ = 0;  ///< first waiting datagram, counted since the queue was last empty
    std::size_t end_ = 0;    ///< the one that is being filled
    std::size_t filled_ = 0; ///< entries in it
    std::uint16_t number_ = 0;
};

} // namespace feedline::hub
