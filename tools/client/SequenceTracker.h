// SPDX-License-Identifier: MIT
// Follows the datagrams' 16-bit numbers and says of each what it means.
//
// The number wraps from 65535 to 0, so everything is judged by the distance from the number that is
// due:
// - up to `reorderWindow` behind: late (it had been counted as lost and no longer is) or, when it
//   has been seen before, a duplicate;
// - anything further is ahead: the numbers in between are lost, for now;
// - but a number below `lowNumbers` that is ahead by more than `reorderWindow`: the sender has
//   started to count anew. Nothing is lost, as far as numbers can tell.
// A sender that starts anew soon after its last start repeats numbers that have just been seen.
// That shows when `restartRun` datagrams in a row, each one number up, all look like late ones:
// their counts are then taken back.
//
// Two things cannot be told by numbers: a gap of 65536 - reorderWindow or more, and a gap that
// happens to end within lowNumbers of 0 (taken for a new start).
#pragma once

#include <bitset>
#include <cstdint>

namespace feedline::client {

struct SequenceCounts {
    std::uint64_t received = 0;   ///< datagrams, duplicates not included
    std::uint64_t lost = 0;       ///< datagrams missing by number
    std::uint64_t reordered = 0;  ///< datagrams that came after a later one
    std::uint64_t duplicated = 0; ///< datagrams that came again
    std::uint64_t restarts = 0;   ///< times the sender began to count anew
};

enum class Arrival { inOrder, afterGap, late, duplicate, restart };

struct Verdict {
    Arrival arrival;
    /// Place in the stream: 0 for the first datagram received, one more for each number; goes on
    /// over wraps and new starts. Negative for one that left before the first received.
    std::int64_t position;
};

/// Not synchronised: for one thread.
class SequenceTracker {
public:
    static constexpr unsigned reorderWindow = 1024; ///< datagrams
    static constexpr unsigned lowNumbers = 64;
    static constexpr unsigned restartRun = 16;

    Verdict add(std::uint16_t number);
    const SequenceCounts& counts() const { return counts_; }

private:
    Verdict first(std::uint16_t number);
    Verdict ahead(std::uint16_t number, unsigned gap);
    Verdict behind(std::uint16_t number, unsigned distance);
    Verdict restart(std::uint16_t number, unsigned alreadyReceived);
    bool continuesRun(std::uint16_t number);
    void advanceTo(std::int64_t position);
    std::size_t slot(std::int64_t position) const;

    SequenceCounts counts_;
    bool started_ = false;
    std::uint16_t due_ = 0;      ///< number expected next
    std::int64_t position_ = 0;  ///< position of the number expected next
    std::int64_t beginning_ = 0; ///< position at which the sender's current count began
    std::bitset<std::size_t{2} * reorderWindow> seen_; ///< of the positions just before position_
    unsigned run_ = 0; ///< late-looking datagrams in a row, one number up each
    std::uint16_t runNext_ = 0;
    SequenceCounts beforeRun_;
};

} // namespace feedline::client
