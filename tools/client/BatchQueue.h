// SPDX-License-Identifier: MIT
// The hand-over from the receive thread to one worker.
#pragma once

#include "tools/client/Batch.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

namespace feedline::client {

/// The lock is held for a pointer's move only, and a full queue refuses instead of waiting: however
/// slow the worker is, reception goes on. One thread pushes, one pops, any may close.
class BatchQueue {
public:
    static constexpr std::size_t usualLimit = 131072;

    /// @param limit  datagrams (about 1 KiB each) that may wait
    explicit BatchQueue(std::size_t limit = usualLimit) : limit_(limit) {}

    /// When the queue is full the worker will not see this batch; what it misses is kept book of.
    void push(BatchPointer batch) {
        {
            const std::lock_guard lock(mutex_);
            if (datagrams_ + batch->size() > limit_) {
                noteRefusal(*batch);
                return;
            }
            datagrams_ += batch->size();
            batches_.push_back(std::move(batch));
        }
        changed_.notify_one();
    }

    /// Waits for the next batch; null when the queue has been closed and is empty.
    BatchPointer pop() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return closed_ || !batches_.empty(); });
        if (batches_.empty())
            return nullptr;
        BatchPointer batch = std::move(batches_.front());
        batches_.pop_front();
        datagrams_ -= batch->size();
        return batch;
    }

    /// What waits is still popped.
    void close() {
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
        }
        changed_.notify_all();
    }

    /// Whether a datagram of the stream's places `from` to `to` - 1 has been refused.
    bool refused(std::int64_t from, std::int64_t to) {
        const std::lock_guard lock(mutex_);
        return std::any_of(refusals_.begin(), refusals_.end(),
                           [=](const Range& range) { return range.from < to && range.to > from; });
    }

    /// Datagrams refused so far.
    std::uint64_t refusedCount() {
        const std::lock_guard lock(mutex_);
        return refused_;
    }

private:
    struct Range {
        std::int64_t from;
        std::int64_t to;
    };

    // Neighbours become one range: a queue that stays full adds nothing to the list.
    void noteRefusal(const Batch& batch) {
        refused_ += batch.size();
        const std::int64_t from = batch.front().verdict.position;
        const std::int64_t to = batch.back().verdict.position + 1;
        if (!refusals_.empty() && refusals_.back().to == from)
            refusals_.back().to = to;
        else
            refusals_.push_back({from, to});
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<BatchPointer> batches_;
    std::vector<Range> refusals_;
    std::uint64_t refused_ = 0;
    std::size_t limit_;
    std::size_t datagrams_ = 0;
    bool closed_ = false;
};

} // namespace feedline::client
