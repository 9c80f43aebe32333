// SPDX-License-Identifier: MIT
#include "tools/hub/native/DatagramQueue.h"

#include <algorithm>
#include <cstring>

namespace feedline::hub {

DatagramQueue::DatagramQueue(std::size_t most)
    : capacity_(most),
      bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(most * datagram::size)) {}

void DatagramQueue::restart() {
    begin_ = end_ = 0;
    filled_ = 0;
    number_ = 0;
}

void DatagramQueue::skip(std::uint64_t pairs) {
    if (pairs == 0)
        return;
    const std::uint64_t datagrams = (pairs + datagram::pairs / 2) / datagram::pairs;
    number_ = static_cast<std::uint16_t>(number_ + std::max<std::uint64_t>(datagrams, 1));
    filled_ = 0;
}

std::size_t DatagramQueue::add(std::span<const std::int16_t> samples) {
    while (!samples.empty() && waiting() < capacity_) {
        const std::size_t count = std::min(samples.size(), datagram::entries - filled_);
        std::memcpy(slot(end_) + datagram::sampleOffset + filled_ * sizeof(std::int16_t),
                    samples.data(), count * sizeof(std::int16_t));
        filled_ += count;
        samples = samples.subspan(count);
        if (filled_ == datagram::entries)
            finishDatagram();
    }
    const std::size_t refused = samples.size() / 2;
    skip(refused);
    return refused;
}

void DatagramQueue::finishDatagram() {
    datagram::putHeader(slot(end_), number_++);
    datagram::samplesToWire(slot(end_));
    ++end_;
    filled_ = 0;
}

std::span<const std::uint8_t> DatagramQueue::front(std::size_t count) const {
    const std::size_t at = begin_ % capacity_;
    const std::size_t together = std::min({count, waiting(), capacity_ - at});
    return {bytes_.get() + at * datagram::size, together * datagram::size};
}

void DatagramQueue::pop(std::size_t count) {
    begin_ += std::min(count, waiting());
    if (waiting() == 0)
        goToTheFront();
}

/// An empty queue begins at its front again, so that only as much memory is touched as ever waited.
void DatagramQueue::goToTheFront() {
    std::memmove(bytes_.get(), slot(end_), datagram::sampleOffset + filled_ * sizeof(std::int16_t));
    begin_ = end_ = 0;
}

} // namespace feedline::hub
