// SPDX-License-Identifier: MIT
#include "platform/qt/ProgramEnd.h"

#include "platform/Log.h"
#include "platform/Process.h"
#include "platform/Thread.h"

#include <chrono>
#include <csignal>
#include <thread>
#include <unistd.h>
#include <utility>

namespace feedline {
namespace {

/// For the main thread to end its loops in; leaves time for the save within a second of the signal.
constexpr std::chrono::milliseconds mainThreadsTime{600};

} // namespace

ProgramEnd::ProgramEnd(QtMainThread& mainThread, std::function<void()> save)
    : mainThread_(mainThread), save_(std::move(save)) {
    const auto started = startDetachedThread("SignalThread", [this] { waitForSignal(); });
    if (started == std::thread::id{})
        fatal("no thread for the signals that end the program");
}

void ProgramEnd::finish() {
    claim();
    save_();
    mainThread_.tellWillTerminateObservers();
    _exit(0);
}

void ProgramEnd::waitForSignal() {
    const sigset_t signals = endSignals();
    int signal = 0;
    while (sigwait(&signals, &signal) != 0)
        ;
    mainThread_.end();
    std::this_thread::sleep_for(mainThreadsTime);
    claim();
    save_();
    _exit(0);
}

/// Returns on the one thread that is to save; another one waits here for the end of the process.
void ProgramEnd::claim() {
    if (!claimed_.exchange(true))
        return;
    for (;;)
        pause();
}

} // namespace feedline
