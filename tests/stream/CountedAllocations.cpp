// SPDX-License-Identifier: MIT
#include "CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> counted{0};
} // namespace

namespace feedline::test {
long allocations() {
    return counted;
}
} // namespace feedline::test

// Every way to the allocator: what the code calls itself, and `new` wherever it is called.

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __real_calloc(size_t count, size_t size);
extern "C" void* __real_realloc(void* before, size_t size);
extern "C" void* __wrap_malloc(size_t size) {
    ++counted;
    return __real_malloc(size);
}
extern "C" void* __wrap_calloc(size_t count, size_t size) {
    ++counted;
    return __real_calloc(count, size);
}
extern "C" void* __wrap_realloc(void* before, size_t size) {
    ++counted;
    return __real_realloc(before, size);
}
// NOLINTEND(bugprone-reserved-identifier)

// Not inlined: the compiler would take one half of a pair for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
