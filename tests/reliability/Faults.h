// SPDX-License-Identifier: MIT
// Lets the calls that the server makes of its surroundings fail, by their number. For tests built
// with WRAP of every function that is named here.
#pragma once

#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace feedline::test {

/// Which calls of which function fail: those numbered `first` to `last`, from 1.
///
/// The functions of the system, with what the server sees when they fail:
/// "control socket", "datagram socket", "dup", "bind", "listen", "accept", "recv", "write",
/// "sendto", "mmap" (the sample ring) and "thread" (its start) do nothing and fail; "setsockopt",
/// "shutdown" and "close" do their work and say that they failed. Others are the vendors', by their
/// names.
struct Fault {
    std::string function;
    int first = 1;
    int last = std::numeric_limits<int>::max();

    bool hits(const std::string& called, int number) const {
        return called == function && number >= first && number <= last;
    }
};

/// The faults of this process; set before any call that they are to hit.
void injectFaults(const std::vector<Fault>& faults);

/// Whether they hit that call, numbered from 1.
bool isToFail(const std::string& function, int number);

/// How many calls have failed because of them.
int faultsInjected();

/// Calls made by the server so far. Any thread.
std::map<std::string, int> callsEntered();

/// Wait until so many calls of the function have begun, or are over. False after a generous time.
bool waitForEntered(const std::string& function, int calls);
bool waitForDone(const std::string& function, int calls);

/// Runs a piece of the server on the main thread, whose calls are the test's otherwise: neither
/// counted nor made to fail.
void asServer(const std::function<void()>& piece);

/// Counts a call of a vendor's function; true when it is to fail.
bool vendorCallFails(const std::string& function);

} // namespace feedline::test
