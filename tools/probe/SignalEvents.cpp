// SPDX-License-Identifier: MIT
#include "tools/probe/SignalEvents.h"

#include <sys/signalfd.h>

namespace feedline::probe {

namespace {

sigset_t endSignals() {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

} // namespace

SignalEvents::SignalEvents() {
    const sigset_t set = endSignals();
    pthread_sigmask(SIG_BLOCK, &set, &before_);
    fd_ = client::UniqueFd(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

// Signals that came are taken: they have been obeyed, and would otherwise end the process now.
SignalEvents::~SignalEvents() {
    signalfd_siginfo info{};
    while (read(fd_.get(), &info, sizeof info) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace feedline::probe
