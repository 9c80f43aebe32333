// SPDX-License-Identifier: MIT
// The sample ring's memory: its entries, written one by one, and how much of it the system holds.
#pragma once

#include "app/RunTimeState.h"
#include "stream/SampleRing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace feedline::test {

/// Changes one entry, as the ring is accessed: its whole pair at once.
inline void storeEntry(std::int32_t index, std::int16_t value) {
    const auto pair = pairAt(sampleRing, index - index % pairEntries);
    SamplePair changed = pair.load(std::memory_order_relaxed);
    (index % pairEntries == 0 ? changed.i : changed.q) = value;
    pair.store(changed, std::memory_order_relaxed);
}

inline std::size_t ringPages() {
    return ringBytes / static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

inline std::size_t ringPagesInMemory() {
    std::vector<unsigned char> pages(ringPages());
    EXPECT_EQ(::mincore(sampleRing, ringBytes, pages.data()), 0);
    return static_cast<std::size_t>(std::count_if(
        pages.begin(), pages.end(), [](unsigned char state) { return (state & 1U) != 0; }));
}

} // namespace feedline::test
