// SPDX-License-Identifier: MIT
// Both senders on loopback, beside a bare loop of `sendto` in the same run: a client on another
// core drains a socket, the three take turns, and medians are compared, so that a noisy machine
// disturbs all three alike.
//
// Prints one "name value" line a figure.

#include "DatagramReceiver.h"
#include "MemoryPlatform.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "stream/DatagramSocket.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace feedline;

namespace {

constexpr int rounds = 41;
constexpr int blockPairs = 65536;
constexpr int blockDatagrams = blockPairs / static_cast<int>(datagram::pairs);
constexpr int roundDatagrams = ringEntries / sliceEntries - blockDatagrams; // nearly a full ring

void runOnCore(unsigned core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core % std::thread::hardware_concurrency(), &set);
    pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

double seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// A client that takes datagrams as fast as they come.
class Drain {
public:
    Drain() {
        std::thread([this] { run(); }).detach();
    }
    int port() const { return receiver_.port(); }
    long received() const { return received_; }

private:
    void run() {
        runOnCore(1);
        std::array<char, 2048> buffer{};
        // Without ever sleeping: waking a sleeper would be charged to the sender, and to the slower
        // one more often.
        for (;;)
            if (::recv(receiver_.descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT) > 0)
                received_.fetch_add(1, std::memory_order_relaxed);
    }
    test::DatagramReceiver receiver_{16 << 20};
    std::atomic<long> received_{0};
};

/// Seconds of wall clock and of the sender's processor time per datagram.
struct Cost {
    std::vector<double> wall;
    std::vector<double> processor;
};

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

void measure(Cost& cost, int datagrams, const std::function<void()>& send) {
    const double wall = seconds(CLOCK_MONOTONIC);
    const double processor = seconds(CLOCK_THREAD_CPUTIME_ID);
    send();
    cost.processor.push_back((seconds(CLOCK_THREAD_CPUTIME_ID) - processor) / datagrams);
    cost.wall.push_back((seconds(CLOCK_MONOTONIC) - wall) / datagrams);
}

void bareLoop() {
    static const int socket = makeDatagramSocket();
    static const sockaddr_in destination = datagramDestination();
    static DatagramBuffer buffer{};
    for (int i = 0; i < roundDatagrams; ++i)
        ::sendto(socket, buffer.data(), DatagramBuffer::size(), 0,
                 reinterpret_cast<const sockaddr*>(&destination), sizeof destination);
}

void airspyBlocks() {
    static std::vector<std::int16_t> samples(std::size_t{2} * blockPairs, 1);
    airspy_transfer_t transfer{};
    transfer.samples = samples.data();
    transfer.sample_count = blockPairs;
    transfer.sample_type = AIRSPY_SAMPLE_INT16_IQ;
    for (int sent = 0; sent < roundDatagrams; sent += blockDatagrams)
        airspySampleCallback(&transfer);
}

/// The UDP thread's body itself, with a backlog in the ring, ended by a watcher once it has caught
/// up.
void ringBacklog(AppDelegate& delegate) {
    ringReadIndex = 0;
    ringWriteIndex = roundDatagrams * sliceEntries;
    serverActive = true;
    std::thread watcher([] {
        runOnCore(1);
        while (ringReadIndex != ringWriteIndex)
            ::usleep(20);
        serverActive = false;
    });
    delegate.UDPThread();
    watcher.join();
}

} // namespace

int main() {
    if (std::freopen("/dev/null", "w", stderr) == nullptr) // the UDP thread's log line
        return 1;
    const int results = ::dup(STDOUT_FILENO);
    if (std::freopen("/dev/null", "w", stdout) == nullptr) // its "UDPThread exit"
        return 1;
    runOnCore(0);
    Drain drain;
    udpAddress.assign("127.0.0.1");
    serverPortNumber = drain.port();
    test::MemoryPlatform memory;
    AppDelegate delegate(memory.platform());
    if (!makeSampleRing())
        return 1;
    populateSampleRing();

    Cost bare;
    Cost ring;
    Cost airspy;
    for (int i = 0; i < rounds; ++i) {
        measure(bare, roundDatagrams, bareLoop);
        measure(ring, roundDatagrams, [&] { ringBacklog(delegate); });
        measure(airspy, roundDatagrams, airspyBlocks);
    }
    const long sent = 3L * rounds * roundDatagrams;
    ::dprintf(results, "bare_datagrams_per_second %.0f\n", 1 / median(bare.wall));
    ::dprintf(results, "bare_cpu_us_per_datagram %.3f\n", 1e6 * median(bare.processor));
    ::dprintf(results, "ring_rate_over_bare %.3f\n", median(bare.wall) / median(ring.wall));
    ::dprintf(results, "ring_cpu_over_bare %.3f\n",
              median(ring.processor) / median(bare.processor));
    ::dprintf(results, "airspy_cpu_over_bare %.3f\n",
              median(airspy.processor) / median(bare.processor));
    ::dprintf(results, "client_took_share %.3f\n",
              static_cast<double>(drain.received()) / static_cast<double>(sent));
    std::_Exit(0);
}
