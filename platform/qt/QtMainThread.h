// The main thread's tasks and timers on Qt's event loop.
#pragma once

#include "platform/MainThread.h"

#include <QObject>
#include <QSocketNotifier>

#include <atomic>
#include <vector>

class QTimer;

namespace feedline {

/// Tasks travel to the main thread as pointers through a pipe, whose write and read order the two
/// threads' memory for every tool that checks it. Made after the application object, on the main
/// thread. Tasks and timers also run while a nested loop does, for instance that of an alert.
class QtMainThread final : public MainThread {
public:
    QtMainThread();
    ~QtMainThread() override;
    QtMainThread(const QtMainThread&) = delete;
    QtMainThread& operator=(const QtMainThread&) = delete;

    /// Some thousands of tasks may wait; beyond that the caller does.
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
    struct Pipe {
        Pipe();
        ~Pipe();
        Pipe(const Pipe&) = delete;
        Pipe& operator=(const Pipe&) = delete;
        int reading = -1;
        int writing = -1;
    };

    void runOneTask() const;
    QTimer* startTimer(std::chrono::milliseconds interval, std::function<void()> task);

    Pipe pipe_;
    QSocketNotifier notifier_;
    QObject timers_; ///< Owns the timers, which end with it.
    std::vector<std::function<void()>> observers_;
    std::atomic<bool> ending_ = false;
};

} // namespace feedline
