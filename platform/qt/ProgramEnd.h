// SPDX-License-Identifier: MIT
// The end of the program, which comes within a second whatever the main thread is doing.
#pragma once

#include "platform/qt/QtMainThread.h"

#include <atomic>
#include <functional>

namespace feedline {

/// Whichever thread gets there first saves, and it alone, and ends the process with status 0:
///  - the main thread, in `finish`, when its event loop has ended;
///  - the thread named "SignalThread", when a signal asked for the end and the main thread has not
///    come to `finish` within 600 ms, as happens inside a vendor library's call.
/// The process ends without destructors, since detached threads may be using anything. Must outlive
/// its thread, which never ends: make it in main. Signals that come later change nothing.
class ProgramEnd {
public:
    /// Starts waiting for the signals, which must be blocked already (platform/Process.h). `save`
    /// runs on either thread.
    ProgramEnd(QtMainThread& mainThread, std::function<void()> save);
    ProgramEnd(const ProgramEnd&) = delete;
    ProgramEnd& operator=(const ProgramEnd&) = delete;

    /// Main thread, after the event loop: saves, tells the observers, ends the process.
    [[noreturn]] void finish();

private:
    [[noreturn]] void waitForSignal();
    void claim();

    QtMainThread& mainThread_;
    std::function<void()> save_;
    std::atomic<bool> claimed_ = false; ///< by the thread that saves
};

} // namespace feedline
