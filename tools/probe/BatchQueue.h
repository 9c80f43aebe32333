// The hand-over from the receive thread to one worker.
#pragma once

#include "probe/Batch.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

namespace feedline::probe {

/// The lock is held for a pointer's move only, and a full queue refuses instead of waiting: however
/// slow the worker is, reception goes on. One thread pushes, one pops, any may close.
class BatchQueue {
public:
    static constexpr std::size_t usualLimit = 131072;

    /// @param limit  datagrams (about 1 KiB each) that may wait
    explicit BatchQueue(std::size_t limit = usualLimit) : m_limit(limit) {}

    /// When the queue is full the worker will not see this batch; what it misses is kept book of.
    void push(BatchPointer batch) {
        {
            const std::lock_guard lock(m_mutex);
            if (m_datagrams + batch->size() > m_limit) {
                noteRefusal(*batch);
                return;
            }
            m_datagrams += batch->size();
            m_batches.push_back(std::move(batch));
        }
        m_changed.notify_one();
    }

    /// Waits for the next batch; null when the queue has been closed and is empty.
    BatchPointer pop() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_closed || !m_batches.empty(); });
        if (m_batches.empty())
            return nullptr;
        BatchPointer batch = std::move(m_batches.front());
        m_batches.pop_front();
        m_datagrams -= batch->size();
        return batch;
    }

    /// What waits is still popped.
    void close() {
        {
            const std::lock_guard lock(m_mutex);
            m_closed = true;
        }
        m_changed.notify_all();
    }

    /// Whether a datagram of the stream's places `from` to `to` - 1 has been refused.
    bool refused(std::int64_t from, std::int64_t to) {
        const std::lock_guard lock(m_mutex);
        return std::any_of(m_refusals.begin(), m_refusals.end(),
                           [=](const Range& range) { return range.from < to && range.to > from; });
    }

    /// Datagrams refused so far.
    std::uint64_t refusedCount() {
        const std::lock_guard lock(m_mutex);
        return m_refused;
    }

private:
    struct Range {
        std::int64_t from;
        std::int64_t to;
    };

    // Neighbours become one range: a queue that stays full adds nothing to the list.
    void noteRefusal(const Batch& batch) {
        m_refused += batch.size();
        const std::int64_t from = batch.front().verdict.position;
        const std::int64_t to = batch.back().verdict.position + 1;
        if (!m_refusals.empty() && m_refusals.back().to == from)
            m_refusals.back().to = to;
        else
            m_refusals.push_back({from, to});
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<BatchPointer> m_batches;
    std::vector<Range> m_refusals;
    std::uint64_t m_refused = 0;
    std::size_t m_limit;
    std::size_t m_datagrams = 0;
    bool m_closed = false;
};

} // namespace feedline::probe
