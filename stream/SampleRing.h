// The HF+ sample ring: where libairspyhf's thread leaves samples and the UDP thread takes them.
//
// One page-aligned anonymous mapping of 16,777,216 signed 16-bit entries, I and Q in turn; a pair
// lies at an even index and the odd one after it. The ring, its pointer and its indices are part of
// the run-time state (app/RunTimeState.h): `sampleRing`, `ringWriteIndex`, `ringReadIndex`. It is
// made at the first start of a receiver and never unmade, and its indices survive every stop and
// start.
//
// Who may do what
//   makeSampleRing, populateSampleRing: one thread, before each start of a receiver.
//   storePair: libairspyhf's thread. A receiver that recovers from a USB error can leave two such
//   threads running at once: the samples are then a mixture, but no index leaves its range.
//   copySlice: UDP thread; at most one runs at a time.
//
// Invariants
//   1. 0 <= ringWriteIndex < ringEntries, and even. Only the writer stores it, with release order,
//      after the pair that it covers; the reader loads it with acquire order before it copies.
//   2. 0 <= ringReadIndex < ringEntries, and a multiple of sliceEntries, which divides ringEntries:
//      a slice never crosses the end. Only the reader uses it, so nothing needs publishing through
//      it.
//   3. Equal indices mean empty. There is no full: the writer never waits and never looks at the
//      read index, so a reader that falls a whole ring behind loses that ring's content unnoticed.
//   4. Entries are read and written by atomic accesses without order, since the writer may lap the
//      reader: a slice may then be a mixture, but the access is always defined.
#pragma once

#include "stream/DataDatagram.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace feedline {

constexpr std::int32_t ringEntries = 0x1000000; ///< signed 16-bit entries
constexpr std::size_t ringBytes = ringEntries * sizeof(std::int16_t);
constexpr std::int32_t sliceEntries = datagram::entries; ///< entries a datagram carries
static_assert(ringEntries % sliceEntries == 0);

/// Makes the ring unless it exists, and both indices 0. It has an address then, but takes no memory
/// until it is populated. False, after one log line, when the system has no room for it.
bool makeSampleRing();

/// Puts every page of the ring, which exists, in memory, so that the HF+ callback does not wait for
/// one at its first use. Does so once: the content stays from then on.
void populateSampleRing();

/// The entry after the pair at `index`, which is even.
constexpr std::int32_t nextPair(std::int32_t index) {
    return index > ringEntries - 3 ? 0 : index + 2;
}

/// Entries that wait to be read.
constexpr std::int32_t entriesAvailable(std::int32_t writeIndex, std::int32_t readIndex) {
    const std::int32_t difference = writeIndex - readIndex;
    return difference < 0 ? difference + ringEntries : difference;
}

/// The read index after the slice at `index`.
constexpr std::int32_t nextSlice(std::int32_t index) {
    const std::int32_t next = index + sliceEntries;
    return index > ringEntries - sliceEntries - 1 ? next - ringEntries : next;
}

using SamplePair = std::array<std::int16_t, 2>; ///< I and Q, as they lie in the ring

/// Stores both entries of a pair at once.
inline void storePair(std::int16_t* to, const SamplePair& pair) {
    using Word [[gnu::may_alias]] = std::uint32_t;
    __atomic_store_n(reinterpret_cast<Word*>(to), std::bit_cast<std::uint32_t>(pair),
                     __ATOMIC_RELAXED);
}

/// Copies the slice that begins at `from`, in host order. Eight bytes at a time: entry by entry the
/// copy would cost a tenth of the send that follows it.
inline void copySlice(std::uint8_t* to, const std::int16_t* from) {
    using Word [[gnu::may_alias]] = std::uint64_t;
    const auto* words = reinterpret_cast<const Word*>(from);
    for (std::size_t i = 0; i < datagram::sampleBytes / sizeof(Word); ++i) {
        const std::uint64_t word = __atomic_load_n(words + i, __ATOMIC_RELAXED);
        std::memcpy(to + i * sizeof word, &word, sizeof word);
    }
}

} // namespace feedline
