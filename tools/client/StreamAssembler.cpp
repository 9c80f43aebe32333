// SPDX-License-Identifier: MIT
#include "tools/client/StreamAssembler.h"

namespace feedline::client {

void StreamAssembler::add(const ReceivedDatagram& datagram) {
    const std::int64_t position = datagram.verdict.position;
    if (!started_) {
        started_ = true;
        next_ = position;
    }
    if (position < next_ || datagram.verdict.arrival == Arrival::duplicate)
        return;
    if (position == next_ && waiting_.empty()) {
        ++next_;
        receiver_.datagram(datagram);
        return;
    }
    waiting_.emplace(position, datagram);
    release(mostHeldBack);
}

void StreamAssembler::finish() {
    release(0);
}

void StreamAssembler::release(std::size_t mayWait) {
    while (!waiting_.empty()) {
        const auto first = waiting_.begin();
        if (first->first != next_) {
            if (waiting_.size() <= mayWait)
                return;
            receiver_.gap(next_, first->first);
        }
        next_ = first->first + 1;
        receiver_.datagram(first->second);
        waiting_.erase(first);
    }
}

} // namespace feedline::client
