// SPDX-License-Identifier: MIT
// Named threads that nobody waits for.
#pragma once

#include <functional>
#include <thread>

namespace feedline {

/// Starts a detached thread that runs `body` under `name` (at most 15 characters; shown by
/// debuggers and by `top -H`). Any thread may call. Returns the thread's id; a default-constructed
/// id when the system refuses another thread, in which case nothing runs.
std::thread::id startDetachedThread(const char* name, std::function<void()> body);

} // namespace feedline
