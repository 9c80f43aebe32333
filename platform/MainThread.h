// SPDX-License-Identifier: MIT
// The main thread's event loop: tasks, timers, and the event that the process is about to end.
#pragma once

#include <chrono>
#include <functional>

namespace feedline {

class MainThread {
public:
    virtual ~MainThread() = default;

    /// Runs the task on the main thread as soon as it is idle. Any thread may call; does not wait.
    virtual void perform(std::function<void()> task) = 0;

    /// Runs the task once on the main thread after the delay. Main thread.
    virtual void performAfterDelay(std::chrono::milliseconds delay, std::function<void()> task) = 0;

    /// Runs the task on the main thread after every interval until the process ends, also while an
    /// alert is shown or a control is dragged. Main thread.
    virtual void performRepeatedly(std::chrono::milliseconds interval,
                                   std::function<void()> task) = 0;

    /// Calls the handler when the process is about to end, as well as the controller's own. Main
    /// thread.
    virtual void addWillTerminateObserver(std::function<void()> handler) = 0;
};

} // namespace feedline
