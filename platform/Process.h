// SPDX-License-Identifier: MIT
// What every program sets up for its process before anything else.
#pragma once

#include <csignal>

namespace feedline {

/// Call first in main, before any thread exists:
///  - standard input, output and error that came closed are opened on /dev/null, so that no socket
///    ever gets their numbers and receives log lines meant for them;
///  - SIGPIPE is ignored, or any client that asks and leaves could end the process;
///  - the signals of `endSignals` are blocked in every thread to come, for one thread to wait on;
///  - the descriptor limit rises to the hard limit, since every run of the UDP thread leaves one
///    socket open.
/// What the system refuses of this is left as it was.
void prepareProcess();

/// Takes the process back from the user's locale, but for the encoding of texts: a number, a date
/// and the system's reason for a failure read the same for every user, in the log, on standard
/// output and in the window. The toolkit's application object takes the whole locale over, so call
/// this right after it, before any other thread writes a text.
void dropUserLocale();

/// SIGTERM and SIGINT: the signals that ask the process to end.
sigset_t endSignals();

} // namespace feedline
