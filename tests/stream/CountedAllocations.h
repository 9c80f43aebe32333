// SPDX-License-Identifier: MIT
// For a program that is linked with its calls of malloc, calloc and realloc wrapped.
#pragma once

namespace feedline::test {

/// How often anything has been allocated since the start of the program. Any thread.
long allocations();

} // namespace feedline::test
