// SPDX-License-Identifier: MIT
// One life of the server, on real sockets and with its own threads, and what must be seen of it
// when some of its calls fail.
//
// The scenario: launch; two clients, five seconds apart, who ask, run the receiver, tune, get a
// block of samples, stop and go; one who is served when the user restarts the server; one more; a
// restart while nobody is connected. Each step first tells ExpectedServer, which works out
// what is to come of it, faults included. Then it looks. Where the server is to stop for good, the
// scenario ends early, with a restart that brings nothing back.
#pragma once

#include "ReceiverFailures.h"

#include <string>

namespace feedline::test {

struct Life {
    std::string discrepancy; ///< empty, or the first thing that was not as it should be
    bool servedLast; ///< the last client was served to its end, and no call failed meanwhile
};

/// Lives that life once. Once a process: the server's threads may be running afterwards.
Life liveOnce(const Receiver& receiver);

} // namespace feedline::test
