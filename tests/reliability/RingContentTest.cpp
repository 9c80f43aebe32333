// SPDX-License-Identifier: MIT
// Numbered pairs through the real callback, the real ring and the real sender's thread, which is
// stopped and started anew on the way; every entry of every datagram is checked.
// FEEDLINE_RING_PAIRS says how many: 10^7 otherwise, which passes the ring's end once, 10^9 in the
// long form.
#include "Amount.h"
#include "MemoryServer.h"
#include "RecordingLog.h"
#include "app/RunTimeState.h"
#include "stream/DataDatagram.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// What the sender hands over is judged where it would enter the kernel.
struct Judge {
    std::uint64_t pairs = 0;
    std::uint64_t errors = 0;
    std::uint16_t sequence = 0;
    std::atomic<bool> judging = true;
} judge;

constexpr int fakeSocket = 1000000;

/// A pair's number: 15 bits in each entry.
std::int16_t real(std::uint64_t n) {
    return static_cast<std::int16_t>(n & 0x7FFFU);
}
std::int16_t imaginary(std::uint64_t n) {
    return static_cast<std::int16_t>(-static_cast<int>(n >> 15U & 0x7FFFU));
}

std::int16_t entryAt(const std::uint8_t* bytes) {
    return static_cast<std::int16_t>(bytes[0] + 256 * bytes[1]);
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" int __wrap_socket(int, int, int) {
    return fakeSocket;
}
extern "C" ssize_t __wrap_sendto(int, const void* data, size_t length, int, const sockaddr*,
                                 socklen_t) {
    if (!judge.judging)
        return static_cast<ssize_t>(length);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    bool good = length == feedline::datagram::size && bytes[0] == 0x04 && bytes[1] == 0x84 &&
                static_cast<std::uint16_t>(entryAt(bytes + 2)) == judge.sequence;
    ++judge.sequence;
    for (std::size_t i = 0; i < feedline::datagram::pairs; ++i, ++judge.pairs)
        good = good && entryAt(bytes + 4 + 4 * i) == real(judge.pairs) &&
               entryAt(bytes + 6 + 4 * i) == imaginary(judge.pairs);
    judge.errors += good ? 0 : 1;
    return static_cast<ssize_t>(length);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace feedline::test {
namespace {

constexpr int blockPairs = 2048;
constexpr std::uint64_t restarts = 20;

/// A float that the conversion turns into exactly this entry.
float floatFor(std::int16_t entry) {
    const double middle = entry > 0 ? entry + 0.5 : entry < 0 ? entry - 0.5 : 0.0;
    return static_cast<float>(middle / 32767.0);
}

class Callback {
public:
    Callback() : block_(blockPairs) {
        transfer_.samples = block_.data();
        transfer_.sample_count = blockPairs;
    }
    void deliver(std::uint64_t first) {
        for (std::uint64_t i = 0; i < blockPairs; ++i)
            block_[i] = {floatFor(real(first + i)), floatFor(imaginary(first + i))};
        airspyHfSampleCallback(&transfer_);
    }

private:
    std::vector<airspyhf_complex_float_t> block_;
    airspyhf_transfer_t transfer_{};
};

/// Delivers like a receiver, but never a whole ring ahead of the sender.
void deliverAll(std::uint64_t pairs) {
    Callback callback;
    for (std::uint64_t n = 0; n < pairs; n += blockPairs) {
        while (entriesAvailable(ringWriteIndex, ringReadIndex) > ringEntries - 4 * blockPairs)
            std::this_thread::yield();
        callback.deliver(n);
    }
}

TEST(RingContent, IsWholeAcrossEveryWrapAndRestart) {
    Server& server = Server::make();
    ASSERT_TRUE(makeSampleRing());
    const std::uint64_t pairs = amount("FEEDLINE_RING_PAIRS", 10'000'000) / blockPairs * blockPairs;
    std::thread receiver([pairs] { deliverAll(pairs); });
    std::uint64_t runs = 0;
    while (judge.pairs < pairs) {
        serverActive = true;
        judge.sequence = 0;
        const std::uint64_t from = judge.pairs;
        const std::uint64_t until = std::min(pairs, from + pairs / restarts);
        std::thread sender([&server] { server.delegate.UDPThread(); });
        std::thread watch([from, until] {
            // The read index moves before the send; what is asked for here is only "about then".
            static std::int32_t last = 0;
            for (std::uint64_t read = from; read < until;) {
                const std::int32_t now = ringReadIndex;
                read += static_cast<std::uint64_t>(entriesAvailable(now, last)) / 2;
                last = now;
                ::usleep(50);
            }
            serverActive = false;
        });
        watch.join();
        sender.join();
        ++runs;
    }
    receiver.join();
    EXPECT_EQ(judge.errors, 0U);
    EXPECT_EQ(judge.pairs, pairs);
    std::printf("%llu pairs, %llu wraps of the index, %llu runs of the sender, 0 wrong\n",
                static_cast<unsigned long long>(judge.pairs),
                static_cast<unsigned long long>(judge.pairs / (ringEntries / 2)),
                static_cast<unsigned long long>(runs));
}

/// A library that recovers from a USB error can leave two of its threads running.
TEST(RingContent, TwoCallbacksAtOnceKeepEveryIndexInPlace) {
    Server& server = Server::make();
    ASSERT_TRUE(makeSampleRing());
    judge.judging = false;
    const std::uint64_t pairs = amount("FEEDLINE_RING_PAIRS", 10'000'000) / 4;
    std::atomic<bool> running = true;
    std::atomic<std::uint64_t> wrong = 0;
    std::thread watch([&] {
        while (running) {
            const std::int32_t w = ringWriteIndex;
            const std::int32_t r = ringReadIndex;
            wrong += w < 0 || w >= ringEntries || w % 2 != 0 || r < 0 || r >= ringEntries ||
                     r % sliceEntries != 0;
        }
    });
    std::thread sender([&server] { server.delegate.UDPThread(); });
    const auto deliver = [pairs] {
        Callback callback;
        for (std::uint64_t n = 0; n < pairs; n += blockPairs)
            callback.deliver(n);
    };
    std::thread first(deliver);
    std::thread second(deliver);
    first.join();
    second.join();
    serverActive = false;
    sender.join();
    running = false;
    watch.join();
    EXPECT_EQ(wrong, 0U);
}

} // namespace
} // namespace feedline::test
