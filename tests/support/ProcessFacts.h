// SPDX-License-Identifier: MIT
// What the system says about the test's own process.
#pragma once

#include <cstddef>

namespace feedline::test {

std::size_t openDescriptors(); ///< how many this process has open
std::size_t runningThreads();  ///< how many threads this process has

/// How many it has when only it and what a sanitizer starts with the first thread are running: to
/// be asked before the test starts any.
std::size_t threadsAtRest();

bool isOpen(int descriptor);

} // namespace feedline::test
