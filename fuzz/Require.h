// SPDX-License-Identifier: MIT
// How a fuzz target complains: the fuzzer takes the abort for a finding and keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace feedline::fuzz {

inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

} // namespace feedline::fuzz
