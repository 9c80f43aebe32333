// SPDX-License-Identifier: MIT
// Lets a test refuse the memory for the sample ring. For tests built with WRAP mmap, one source
// file each.
#pragma once

#include "stream/SampleRing.h"

#include <cerrno>
#include <cstddef>
#include <sys/mman.h>

namespace feedline::test {

inline bool ringMemoryRefused = false;
inline int ringsMapped = 0;

} // namespace feedline::test

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier, misc-definitions-in-headers): the linker's names
void* __real_mmap(void* address, std::size_t length, int protection, int flags, int descriptor,
                  off_t offset);

void* __wrap_mmap(void* address, std::size_t length, int protection, int flags, int descriptor,
                  off_t offset) {
    if (length == feedline::ringBytes) {
        if (feedline::test::ringMemoryRefused) {
            errno = ENOMEM;
            return MAP_FAILED;
        }
        ++feedline::test::ringsMapped;
    }
    return __real_mmap(address, length, protection, flags, descriptor, offset);
}
// NOLINTEND(bugprone-reserved-identifier, misc-definitions-in-headers)

} // extern "C"
