// SPDX-License-Identifier: MIT
// One life of the server, on real sockets and with its own threads, and what must be seen of it
// when one of its calls fails.
//
// The scenario: launch; two clients, five seconds apart, who ask, run the receiver, tune, get a
// block of samples, stop and go; one who is served when the user restarts the server; one more; a
// restart while nobody is connected. Each step first works out what the server is to do: which
// calls it makes, which of them the fault hits, and what comes of that. Then it looks. Where the
// server is to stop for good, the scenario ends early, with a restart that brings nothing back.
#pragma once

#include "ReceiverFailures.h"

#include <string>

namespace feedline::test {

/// Lives that life once; empty, or the first thing that was not as it should be. Once a process:
/// the server's threads may be running afterwards.
std::string liveOnce(const Receiver& receiver);

} // namespace feedline::test
