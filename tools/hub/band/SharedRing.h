// SPDX-License-Identifier: MIT
// The one ring in which all listeners find what was received.
//
// One thread writes, any number read, and no reader can hold up the writer or another reader:
//  1. Items are numbered from 0 in the order in which they were written.
//  2. The ring keeps the last `capacity` items. Writing drops the oldest, whoever has not read it.
//  3. A reader keeps the number of the item it wants next. When that item has been dropped it gets
//     the oldest that is left, and what it missed is its own loss.
//  4. An item is never changed once it is in the ring; a reader that holds one keeps it alive.
//  5. The lock is held for the move of one pointer.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace feedline::hub {

template <typename Item>
class SharedRing {
public:
    using Pointer = std::shared_ptr<const Item>;

    /// @param capacity  items, at least 1
    explicit SharedRing(std::size_t capacity) : items_(capacity) {}

    /// For one thread, the writer.
    void push(Pointer item) {
        const std::lock_guard lock(mutex_);
        // The dropped item leaves with the argument, after the lock.
        items_[end_ % items_.size()].swap(item);
        ++end_;
    }

    /// Any thread. The item numbered `wanted`, or the oldest that is left when that one has been
    /// dropped; null when it has not been written yet. `wanted` becomes the number after the
    /// item's.
    Pointer take(std::uint64_t& wanted) const {
        const std::lock_guard lock(mutex_);
        if (wanted >= end_)
            return nullptr;
        wanted = std::max(wanted, end_ - std::min<std::uint64_t>(end_, items_.size()));
        return items_[wanted++ % items_.size()];
    }

    /// Any thread. The number that the next item will have: a reader that starts here hears what
    /// comes from now on.
    std::uint64_t end() const {
        const std::lock_guard lock(mutex_);
        return end_;
    }

private:
    mutable std::mutex mutex_; ///< guards everything below
    std::vector<Pointer> items_;
    std::uint64_t end_ = 0;
};

} // namespace feedline::hub
