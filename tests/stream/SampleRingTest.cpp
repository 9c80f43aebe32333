// SPDX-License-Identifier: MIT
#include "stream/SampleRing.h"

#include "MemoryServer.h"
#include "RecordingLog.h"
#include "RingMemory.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {
int mappingsAskedFor = 0;
bool refuseMappings = false;
bool refuseLargePages = false;
int adviceBeforeAnyPage = -1;
std::size_t pageSize = 0; ///< the machine's own when 0

/// The beginning of a page of `pageSize` bytes within `room` that no larger page begins at.
void* pageWithin(char* room) {
    const auto address = reinterpret_cast<std::uintptr_t>(room);
    const std::uintptr_t large = (address + 2 * pageSize - 1) / (2 * pageSize) * (2 * pageSize);
    return room + (large + pageSize - address);
}
} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" void* __real_mmap(void* at, size_t length, int protection, int flags, int descriptor,
                             off_t offset);
extern "C" void* __wrap_mmap(void* at, size_t length, int protection, int flags, int descriptor,
                             off_t offset) {
    if (length != feedline::ringBytes)
        return __real_mmap(at, length, protection, flags, descriptor, offset);
    ++mappingsAskedFor;
    if (pageSize != 0)
        return pageWithin(static_cast<char*>(
            __real_mmap(at, length + 3 * pageSize, protection, flags, descriptor, offset)));
    if (!refuseMappings)
        return __real_mmap(at, length, protection, flags, descriptor, offset);
    errno = ENOMEM;
    return MAP_FAILED;
}

extern "C" int __real_madvise(void* at, size_t length, int advice) noexcept;
extern "C" int __wrap_madvise(void* at, size_t length, int advice) noexcept {
    if (length != feedline::ringBytes)
        return __real_madvise(at, length, advice);
    adviceBeforeAnyPage = feedline::test::ringPagesInMemory() == 0 ? advice : -1;
    if (!refuseLargePages)
        return __real_madvise(at, length, advice);
    errno = EINVAL;
    return -1;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace feedline {
namespace {

using test::logged;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(SampleRingIndices, PairsFollowEachOtherRoundTheRing) {
    EXPECT_EQ(nextPair(0), 2);
    EXPECT_EQ(nextPair(0xFFFFFC), 0xFFFFFE);
    EXPECT_EQ(nextPair(0xFFFFFE), 0);
    std::int32_t index = 0;
    for (std::int32_t i = 0; i < ringEntries; i += 2) {
        ASSERT_EQ(index, i);
        index = nextPair(index);
    }
    EXPECT_EQ(index, 0);
}

TEST(SampleRingIndices, SlicesFollowEachOtherRoundTheRing) {
    EXPECT_EQ(nextSlice(0), 512);
    EXPECT_EQ(nextSlice(0xFFFC00), 0xFFFE00);
    EXPECT_EQ(nextSlice(0xFFFE00), 0);
    std::int32_t index = 0;
    for (std::int32_t i = 0; i < ringEntries; i += 512) {
        ASSERT_EQ(index, i);
        index = nextSlice(index);
    }
    EXPECT_EQ(index, 0);
}

TEST(SampleRingIndices, AvailableIsTheDistanceFromReaderToWriter) {
    EXPECT_EQ(entriesAvailable(0, 0), 0);
    EXPECT_EQ(entriesAvailable(511, 0), 511);
    EXPECT_EQ(entriesAvailable(512, 512), 0);
    EXPECT_EQ(entriesAvailable(0, 0xFFFE00), 512);
    EXPECT_EQ(entriesAvailable(510, 512), 0xFFFFFE);
    EXPECT_EQ(entriesAvailable(0xFFFFFE, 0), 0xFFFFFE);
}

class SampleRing : public ::testing::Test {
public:
    ~SampleRing() override {
        refuseMappings = false;
        refuseLargePages = false;
        pageSize = 0;
        test::resetRunTimeState();
    }

protected:
    SampleRing() {
        test::resetRunTimeState();
        test::clearRecordedLines();
        mappingsAskedFor = 0;
        adviceBeforeAnyPage = -1;
    }
};

TEST_F(SampleRing, IsMadeWithBothIndicesAtZero) {
    ringWriteIndex = 1234;
    ringReadIndex = 512;
    EXPECT_TRUE(makeSampleRing());
    EXPECT_NE(sampleRing.load(), nullptr);
    EXPECT_EQ(ringWriteIndex, 0);
    EXPECT_EQ(ringReadIndex, 0);
    EXPECT_THAT(test::recordedLines(), IsEmpty());
}

TEST_F(SampleRing, HoldsSixteenMillionEntries) {
    EXPECT_EQ(ringEntries, 16777216);
    EXPECT_EQ(ringBytes, 0x2000000U);
    ASSERT_TRUE(makeSampleRing());
    test::storeEntry(0, 1);
    test::storeEntry(ringEntries - 1, -2);
    EXPECT_EQ(sampleRing[0], 1);
    EXPECT_EQ(sampleRing[ringEntries - 1], -2);
}

TEST_F(SampleRing, BeginsAtAPageBoundary) {
    ASSERT_TRUE(makeSampleRing());
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(sampleRing.load()) % page, 0U);
}

TEST_F(SampleRing, TakesNoMemoryUntilItIsPopulated) {
    ASSERT_TRUE(makeSampleRing());
    EXPECT_EQ(test::ringPagesInMemory(), 0U);
    populateSampleRing();
    EXPECT_EQ(test::ringPagesInMemory(), test::ringPages());
    EXPECT_THAT(test::recordedLines(), IsEmpty());
}

TEST_F(SampleRing, PopulatedAgainKeepsItsIndicesAndContent) {
    ASSERT_TRUE(makeSampleRing());
    populateSampleRing();
    ringWriteIndex = 1024;
    ringReadIndex = 512;
    test::storeEntry(512, 77);
    test::storeEntry(ringEntries - 1, -77);
    populateSampleRing();
    EXPECT_EQ(ringWriteIndex, 1024);
    EXPECT_EQ(ringReadIndex, 512);
    EXPECT_EQ(sampleRing[512], 77);
    EXPECT_EQ(sampleRing[ringEntries - 1], -77);
}

TEST_F(SampleRing, IsAskedForInLargePages) {
    ASSERT_TRUE(makeSampleRing());
    populateSampleRing();
    EXPECT_EQ(adviceBeforeAnyPage, MADV_HUGEPAGE);
}

TEST_F(SampleRing, IsPopulatedWithoutLargePages) {
    ASSERT_TRUE(makeSampleRing());
    refuseLargePages = true;
    populateSampleRing();
    EXPECT_EQ(test::ringPagesInMemory(), test::ringPages());
    EXPECT_THAT(test::recordedLines(), IsEmpty());
}

/// Pages of another size than this machine's: the ring begins where they allow and no better.
class SampleRingPages : public SampleRing, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(SampleRingPages, OfEverySizeAreWhollyTheRings) {
    if (GetParam() < static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)))
        GTEST_SKIP() << "this machine's pages are larger";
    pageSize = GetParam();
    EXPECT_EQ(ringBytes % pageSize, 0U);
    ASSERT_TRUE(makeSampleRing());
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(sampleRing.load()) % (2 * pageSize), pageSize);
    populateSampleRing();
    EXPECT_EQ(adviceBeforeAnyPage, MADV_HUGEPAGE);
    EXPECT_EQ(test::ringPagesInMemory(), test::ringPages());
    ringReadIndex = ringEntries - sliceEntries;
    ringWriteIndex = 0;
    test::storeEntry(ringEntries - 1, -77);
    std::array<std::int16_t, sliceEntries> slice{};
    EXPECT_TRUE(takeSlice(reinterpret_cast<std::uint8_t*>(slice.data())));
    EXPECT_EQ(slice.back(), -77);
}

INSTANTIATE_TEST_SUITE_P(Kibibytes, SampleRingPages,
                         ::testing::Values(0x1000U, 0x4000U, 0x10000U, 0x200000U),
                         [](const auto& size) { return std::to_string(size.param / 1024); });

TEST_F(SampleRing, IsMadeOnceAndThenKeptWithItsIndicesAndContent) {
    ASSERT_TRUE(makeSampleRing());
    const std::int16_t* const ring = sampleRing;
    ringWriteIndex = 1024;
    ringReadIndex = 512;
    test::storeEntry(512, 77);
    EXPECT_TRUE(makeSampleRing());
    EXPECT_EQ(sampleRing.load(), ring);
    EXPECT_EQ(ringWriteIndex, 1024);
    EXPECT_EQ(ringReadIndex, 512);
    EXPECT_EQ(ring[512], 77);
    EXPECT_EQ(mappingsAskedFor, 1);
}

TEST_F(SampleRing, ThatCannotBeMadeIsReportedInOneLine) {
    refuseMappings = true;
    EXPECT_FALSE(makeSampleRing());
    EXPECT_EQ(sampleRing.load(), nullptr);
    EXPECT_THAT(test::recordedLines(),
                ElementsAre(logged(
                    "sample ring of 33554432 bytes could not be made: Cannot allocate memory")));
}

TEST_F(SampleRing, ThatCouldNotBeMadeIsTriedAgain) {
    refuseMappings = true;
    EXPECT_FALSE(makeSampleRing());
    refuseMappings = false;
    EXPECT_TRUE(makeSampleRing());
    EXPECT_NE(sampleRing.load(), nullptr);
}

/// A ring that is made, and in which every entry near the start and the end says where it is.
class SampleRingSlices : public SampleRing {
protected:
    SampleRingSlices() {
        EXPECT_TRUE(makeSampleRing());
        for (std::int32_t i = -2 * sliceEntries; i < 2 * sliceEntries; ++i)
            test::storeEntry((i + ringEntries) % ringEntries, static_cast<std::int16_t>(i));
    }

    /// What a slice leaves in a buffer that is one entry longer.
    std::vector<std::int16_t> take() {
        std::vector<std::int16_t> taken(sliceEntries + 1, 4242);
        EXPECT_TRUE(takeSlice(reinterpret_cast<std::uint8_t*>(taken.data())));
        return taken;
    }
    static std::vector<std::int16_t> entriesFrom(std::int16_t first) {
        std::vector<std::int16_t> entries(sliceEntries + 1);
        std::iota(entries.begin(), entries.end(), first);
        entries.back() = 4242;
        return entries;
    }
};

TEST_F(SampleRingSlices, AreTakenWholeOneAfterTheOther) {
    ringWriteIndex = 2 * sliceEntries;
    EXPECT_EQ(take(), entriesFrom(0));
    EXPECT_EQ(ringReadIndex, sliceEntries);
    EXPECT_EQ(take(), entriesFrom(sliceEntries));
    EXPECT_EQ(ringReadIndex, 2 * sliceEntries);
}

TEST_F(SampleRingSlices, GoOnAtTheRingsStart) {
    ringReadIndex = ringEntries - sliceEntries;
    ringWriteIndex = sliceEntries;
    EXPECT_EQ(take(), entriesFrom(-sliceEntries));
    EXPECT_EQ(ringReadIndex, 0);
    EXPECT_EQ(take(), entriesFrom(0));
}

TEST_F(SampleRingSlices, AreNotTakenBeforeTheyAreWhole) {
    std::array<std::uint8_t, datagram::sampleBytes> untouched{};
    untouched.fill(0xEE);
    std::array<std::uint8_t, datagram::sampleBytes> bytes = untouched;
    for (const std::int32_t written : {0, 2, sliceEntries - pairEntries}) {
        ringWriteIndex = written;
        EXPECT_FALSE(takeSlice(bytes.data())) << written;
    }
    EXPECT_EQ(bytes, untouched);
    EXPECT_EQ(ringReadIndex, 0);
}

TEST_F(SampleRingSlices, CanGoToAnUnalignedPlace) {
    ringWriteIndex = sliceEntries;
    std::array<std::uint8_t, datagram::sampleBytes + 1> bytes{};
    EXPECT_TRUE(takeSlice(bytes.data() + 1));
    std::int16_t last = 0;
    std::memcpy(&last, bytes.data() + datagram::sampleBytes - 1, sizeof last);
    EXPECT_EQ(last, sliceEntries - 1);
}

TEST_F(SampleRingSlices, AreWhatAWriterPutIn) {
    std::array<SamplePair, datagram::pairs> pairs{};
    for (std::size_t n = 0; n < pairs.size(); ++n)
        pairs[n] = {static_cast<std::int16_t>(1000 + 2 * n),
                    static_cast<std::int16_t>(1001 + 2 * n)};
    SampleRingWriter().write(pairs);
    EXPECT_EQ(ringWriteIndex, sliceEntries);
    EXPECT_EQ(take(), entriesFrom(1000));
}

} // namespace
} // namespace feedline
