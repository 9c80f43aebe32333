// SPDX-License-Identifier: MIT
// Longest input: 256 bytes.
// Reaches: the probe's judgement of datagram numbers, on any sequence of them: steps, gaps, late
// and repeated ones, new starts, wraps. Whatever comes, every datagram is counted once, and no
// count goes below nothing. A sequence without anything late, repeated or starting anew is also
// checked number by number: what is lost is the sum of the steps left out.
//
// Leaves out: the socket and what the system says beside each datagram.
//
// An input is a list of steps of two bytes, so that short inputs reach far: see `Numbers`.
#include "Require.h"
#include "tools/client/SequenceTracker.h"

namespace {

using namespace feedline::client;
using feedline::fuzz::require;

class Judged {
public:
    void add(std::uint16_t number) {
        const SequenceCounts before = tracker_.counts();
        const Verdict verdict = tracker_.add(number);
        const SequenceCounts& now = tracker_.counts();
        ++added_;
        if (verdict.arrival != Arrival::restart) {
            require(now.received + now.duplicated == before.received + before.duplicated + 1,
                    "every datagram counts once");
            require(now.restarts == before.restarts, "no new start unsaid");
        }
        require(now.received + now.duplicated == added_, "every datagram counts");
        require(now.lost < std::uint64_t{1} << 40U, "nothing below nothing");
        require(now.reordered <= added_ && now.restarts <= added_, "no more than have come");
    }

private:
    SequenceTracker tracker_;
    std::uint64_t added_ = 0;
};

/// Forward only, in steps that cannot be taken for anything else.
void forward(const std::uint8_t* data, std::size_t size) {
    SequenceTracker tracker;
    std::uint16_t number = 1000;
    std::uint64_t lost = 0;
    std::int64_t position = -1;
    for (std::size_t i = 0; i < size; ++i) {
        const unsigned left = i == 0 ? 0 : data[i];
        number = static_cast<std::uint16_t>(number + left + (i == 0 ? 0 : 1));
        position += left + 1;
        lost += left;
        const Verdict verdict = tracker.add(number);
        require(verdict.arrival == (left == 0 ? Arrival::inOrder : Arrival::afterGap),
                "the right arrival");
        require(verdict.position == position, "the right position");
        require(tracker.counts().lost == lost && tracker.counts().received == i + 1,
                "the right counts");
    }
}

void anything(const std::uint8_t* data, std::size_t size) {
    Judged judged;
    std::uint16_t number = 0;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        const std::uint8_t value = data[i + 1];
        switch (data[i] % 5) {
        case 0: // a row of them
            for (unsigned n = 0; n < value; ++n)
                judged.add(number++);
            break;
        case 1:
            number = static_cast<std::uint16_t>(number + value);
            break;
        case 2:
            number = static_cast<std::uint16_t>(number - value);
            break;
        case 3:
            number = static_cast<std::uint16_t>(value * 256);
            break;
        default:
            number = value;
            break;
        }
        judged.add(number++);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        forward(data + 1, size - 1);
    else
        anything(data + 1, size - 1);
    return 0;
}
