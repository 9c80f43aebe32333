// SPDX-License-Identifier: MIT
// The HF+ sample ring: libairspyhf's thread puts IQ pairs in, the UDP thread takes slices out.
//
// The memory is one page-aligned anonymous mapping of 16,777,216 signed 16-bit entries, I and Q in
// turn. Its address and both indices are part of the run-time state (app/RunTimeState.h):
// `sampleRing`, `ringWriteIndex`, `ringReadIndex`. It is made at the first start of a receiver and
// kept for the life of the process; the indices survive every stop and start. Nothing outside
// stream/SampleRing.{h,cpp} reads or writes entries, or moves an index.
//
// Threads
//   makeSampleRing, populateSampleRing   the TCP thread, before it starts a receiver.
//   SampleRingWriter                     libairspyhf's thread, one object for each block.
//   takeSlice                            the UDP thread; at most one runs at a time.
// No call waits for another thread. The library can leave two of its threads running after a USB
// error: their samples are then mixed, but invariants 1 to 3 hold.
//
// Invariants
//   1. 0 <= ringWriteIndex < ringEntries, and even: a pair is an even entry and the odd one after
//      it. Only the writer stores this index. Each store has release order and follows the store of
//      the pair before it; the UDP thread loads it with acquire order before it reads entries. So
//      every pair below the index it has seen is visible to it, and each pair is published by
//      itself.
//   2. 0 <= ringReadIndex < ringEntries, and a multiple of sliceEntries, which divides ringEntries:
//      no slice crosses the end. Only the UDP thread uses this index, so it publishes nothing.
//   3. Equal indices mean empty. There is no full: the writer never looks at the read index, and
//      when it is a whole ring ahead, what the UDP thread has not taken is overwritten unnoticed.
//   4. Entries are accessed one whole pair (4 bytes) at a time, by relaxed atomic loads and stores
//      and by nothing else. The writer may overtake the UDP thread in the middle of a slice: it
//      then takes old and new pairs, but never half a pair.
#pragma once

#include "app/RunTimeState.h"
#include "stream/DataDatagram.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace feedline {

constexpr std::int32_t ringEntries = 0x1000000; ///< signed 16-bit entries
constexpr std::size_t ringBytes = ringEntries * sizeof(std::int16_t);
constexpr std::int32_t sliceEntries = datagram::entries; ///< entries a datagram carries
constexpr std::int32_t pairEntries = 2;                  ///< I and Q
static_assert(ringEntries % sliceEntries == 0);

/// An IQ pair as it lies in the ring: host order, I first.
struct alignas(pairEntries * sizeof(std::int16_t)) SamplePair {
    std::int16_t i;
    std::int16_t q;
};
static_assert(sizeof(SamplePair) == pairEntries * sizeof(std::int16_t));
static_assert(std::atomic_ref<SamplePair>::is_always_lock_free);

/// Makes the ring unless it exists, and both indices 0. It has an address then, but takes no memory
/// until it is populated. False, after one log line, when the system has no room for it.
bool makeSampleRing();

/// Puts every page of the ring, which exists, in memory, so that the HF+ callback does not wait for
/// one at its first use. Does so once: the content stays from then on.
void populateSampleRing();

/// Copies the oldest slice, sliceEntries entries in host order, to the datagram::sampleBytes bytes
/// at `to`, aligned or not, and moves the read index past it. False, and nothing done, when fewer
/// entries wait.
bool takeSlice(std::uint8_t* to);

/// The index after the pair at `index`, which is even.
constexpr std::int32_t nextPair(std::int32_t index) {
    return index > ringEntries - pairEntries - 1 ? 0 : index + pairEntries;
}

/// Entries that wait to be taken.
constexpr std::int32_t entriesAvailable(std::int32_t writeIndex, std::int32_t readIndex) {
    const std::int32_t difference = writeIndex - readIndex;
    return difference < 0 ? difference + ringEntries : difference;
}

/// The read index after the slice at `index`.
constexpr std::int32_t nextSlice(std::int32_t index) {
    const std::int32_t next = index + sliceEntries;
    return index > ringEntries - sliceEntries - 1 ? next - ringEntries : next;
}

/// The pair at `index`, which is even, for atomic access.
inline std::atomic_ref<SamplePair> pairAt(std::int16_t* ring, std::int32_t index) {
    return std::atomic_ref(*reinterpret_cast<SamplePair*>(ring + index));
}

/// Puts one block's pairs into the ring, which exists. Keeps the write index to itself between two
/// pairs: it is loaded once, when the object is made.
class SampleRingWriter {
public:
    /// Stores the pairs one after the other and publishes each before the next: the UDP thread can
    /// take the first ones of a block while the rest is being converted.
    template <std::size_t count>
    void write(const std::array<SamplePair, count>& pairs) {
        fetch(index_ + fetchAhead);
        if (index_ > ringEntries - static_cast<std::int32_t>(count) * pairEntries)
            return writeRound(pairs);
#pragma GCC unroll 16
        for (std::size_t n = 0; n + 1 < count; ++n)
            put(pairs[n], index_ + pairEntries);
        put(pairs[count - 1], nextPair(index_));
    }

private:
    /// How far ahead of the writing the ring's cache lines are fetched, in entries. Each was last
    /// used a whole ring ago; waiting for it would cost half as much as the rest of the callback.
    static constexpr std::int32_t fetchAhead = 1024;
    static_assert(std::has_single_bit(static_cast<std::uint32_t>(ringEntries)));

    void fetch(std::int32_t index) const {
        __builtin_prefetch(ring_ + (index & (ringEntries - 1)), 1);
    }

    /// The same as `write` where the ring's end lies between the pairs.
    template <std::size_t count>
    void writeRound(const std::array<SamplePair, count>& pairs) {
        for (const SamplePair& pair : pairs)
            put(pair, nextPair(index_));
    }

    void put(const SamplePair& pair, std::int32_t next) {
        pairAt(ring_, index_).store(pair, std::memory_order_relaxed);
        index_ = next;
        ringWriteIndex.store(next, std::memory_order_release);
    }

    std::int16_t* const ring_ = sampleRing;
    std::int32_t index_ = ringWriteIndex.load(std::memory_order_relaxed);
};

} // namespace feedline
