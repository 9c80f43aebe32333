// SPDX-License-Identifier: MIT
// The main thread's tasks and timers on Qt's event loop.
#pragma once

#include "platform/MainThread.h"

#include <QObject>
#include <QSocketNotifier>

#include <atomic>
#include <deque>
#include <mutex>
#include <vector>

class QTimer;

namespace feedline {

/// Made after the application object, on the main thread. Tasks and timers also run while a nested
/// loop does, for instance that of an alert.
///
/// Tasks wait in a queue of this class's own and not in Qt's queued calls: ThreadSanitizer cannot
/// see the lock inside the toolkit, and takes each of its queued calls for a race between caller
/// and main thread.
class QtMainThread final : public MainThread {
public:
    QtMainThread();
    ~QtMainThread() override;
    QtMainThread(const QtMainThread&) = delete;
    QtMainThread& operator=(const QtMainThread&) = delete;

    /// However many tasks wait, the caller never does.
    void perform(std::function<void()> task) override;
    void performAfterDelay(std::chrono::milliseconds delay, std::function<void()> task) override;
    void performRepeatedly(std::chrono::milliseconds interval, std::function<void()> task) override;
    void addWillTerminateObserver(std::function<void()> handler) override;

    /// Asks the event loop, and every loop nested in it, to end. Any thread; does not wait.
    void end();

    /// From `end` on. Any thread.
    bool ending() const { return ending_.load(std::memory_order_relaxed); }

    /// Calls the handlers of addWillTerminateObserver. Main thread.
    void tellWillTerminateObservers() const;

private:
    void runOneTask();
    std::function<void()> takeTask();
    QTimer* startTimer(std::chrono::milliseconds interval, std::function<void()> task);

    std::mutex mutex_;                        ///< held to put a task in, or to take one out
    std::deque<std::function<void()>> tasks_; ///< in the order they came
    int taskCount_;                           ///< An eventfd: as many as `tasks_` holds.
    QSocketNotifier notifier_;                ///< Heard while that is above 0.
    QObject timers_;                          ///< Owns the timers, which end with it.
    std::vector<std::function<void()>> observers_;
    std::atomic<bool> ending_ = false;
};

} // namespace feedline
