// SPDX-License-Identifier: MIT
#include "platform/Process.h"

#include <array>
#include <clocale>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace feedline {
namespace {

void occupyStandardStreams() {
    for (const int stream : std::array{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            // The lowest free number is the one just found closed.
            static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_RDONLY : O_WRONLY));
}

void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

sigset_t endSignals() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

void dropUserLocale() {
    // One by one: through LC_ALL the encoding would be gone for a moment.
    for (const int category : {LC_NUMERIC, LC_TIME, LC_MESSAGES})
        static_cast<void>(std::setlocale(category, "C"));
}

void prepareProcess() {
    occupyStandardStreams();
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    const sigset_t signals = endSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    raiseDescriptorLimit();
}

} // namespace feedline
