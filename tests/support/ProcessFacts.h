// SPDX-License-Identifier: MIT
// What the system says about the test's own process.
#pragma once

#include <cstddef>
#include <string_view>

namespace feedline::test {

std::size_t openDescriptors(); ///< how many this process has open
std::size_t runningThreads();  ///< how many threads this process has

/// How many threads have this name. A sanitizer may have threads of its own, under others.
std::size_t threadsNamed(std::string_view name);

/// How many it has when only it and what a sanitizer starts with the first thread are running: to
/// be asked before the test starts any.
std::size_t threadsAtRest();

bool isOpen(int descriptor);

/// Bytes of the heap that are allocated and not freed, by the allocator's own count: the C
/// library's, or the sanitizer's that takes its place.
std::size_t heapInUse();

} // namespace feedline::test
