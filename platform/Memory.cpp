// SPDX-License-Identifier: MIT
#include "platform/Memory.h"

#include <sys/mman.h>

namespace feedline {

void preferLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#ifdef MADV_HUGEPAGE
    ::madvise(memory, bytes, MADV_HUGEPAGE);
#endif
}

} // namespace feedline
