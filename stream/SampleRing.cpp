// SPDX-License-Identifier: MIT
#include "stream/SampleRing.h"

#include "platform/Log.h"
#include "platform/Memory.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>

namespace feedline {
namespace {

/// Whether the ring was written, once and before any receiver could. Set when it is made.
std::atomic<bool> populated;

} // namespace

bool makeSampleRing() {
    if (sampleRing != nullptr)
        return true;
    void* mapping =
        ::mmap(nullptr, ringBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) {
        logLine("sample ring of %zu bytes could not be made: %s", ringBytes, std::strerror(errno));
        return false;
    }
    populated = false;
    ringWriteIndex = 0;
    ringReadIndex = 0;
    sampleRing = static_cast<std::int16_t*>(mapping);
    return true;
}

void populateSampleRing() {
    if (populated.exchange(true))
        return;
    // A callback that runs every few milliseconds finds nothing in the processor's caches, and
    // looking up small pages can cost it more than all it does there.
    preferLargePages(sampleRing, ringBytes);
    std::memset(sampleRing, 0, ringBytes);
}

bool takeSlice(std::uint8_t* to) {
    const std::int32_t written = ringWriteIndex.load(std::memory_order_acquire);
    const std::int32_t from = ringReadIndex;
    if (entriesAvailable(written, from) < sliceEntries)
        return false;
    std::int16_t* const ring = sampleRing;
#pragma GCC unroll 16
    for (std::int32_t entry = 0; entry < sliceEntries; entry += pairEntries) {
        const SamplePair pair = pairAt(ring, from + entry).load(std::memory_order_relaxed);
        std::memcpy(to + entry * sizeof(std::int16_t), &pair, sizeof pair);
    }
    ringReadIndex = nextSlice(from);
    return true;
}

} // namespace feedline
