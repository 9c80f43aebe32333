// The hand-over from the receive thread to one worker.
#pragma once

#include "probe/Batch.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

namespace feedline::probe {

/// The lock is held for a pointer's move only, and a full queue refuses instead of waiting: however
/// slow the worker is, reception goes on. One thread pushes, one pops, any may close.
class BatchQueue {
public:
    /// @param limit  datagrams (about 1 KiB each) that may wait
    explicit BatchQueue(std::size_t limit = 131072) : m_limit(limit) {}

    /// False when the queue is full: the worker will not see this batch.
    bool push(BatchPointer batch) {
        {
            const std::lock_guard lock(m_mutex);
            if (m_datagrams + batch->size() > m_limit)
                return false;
            m_datagrams += batch->size();
            m_batches.push_back(std::move(batch));
        }
        m_changed.notify_one();
        return true;
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

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<BatchPointer> m_batches;
    std::size_t m_limit;
    std::size_t m_datagrams = 0;
    bool m_closed = false;
};

} // namespace feedline::probe
