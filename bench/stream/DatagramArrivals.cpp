// SPDX-License-Identifier: MIT
// The client of the latency figures: receives a stream's datagrams for some seconds, with nothing
// to do between two of them but look at the clock.
//
// Usage: DatagramArrivals SECONDS. Says "port NUMBER" when it listens, and prints a line
// "nanoseconds number" for each datagram at the end, by the monotonic clock.

#include "DatagramReceiver.h"
#include "DatagramView.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

using namespace feedline::test;

namespace {

struct Arrival {
    std::int64_t nanoseconds;
    unsigned number;
};

std::int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const std::int64_t seconds = std::atoi(argv[1]);
    DatagramReceiver receiver(4 << 20);
    std::vector<Arrival> arrivals;
    arrivals.reserve(static_cast<std::size_t>(seconds) * 12000);
    std::printf("port %u\n", unsigned{receiver.port()});
    std::fflush(stdout);
    DatagramReceiver::Datagram datagram;
    for (const std::int64_t end = now() + seconds * 1000000000; now() < end;)
        if (readable(receiver.descriptor(), 100) && receiver.take(datagram)) {
            const std::int64_t time = now();
            const DatagramView view(datagram.bytes());
            if (view.wellFormed())
                arrivals.push_back({time, view.number()});
        }
    for (const Arrival& arrival : arrivals)
        std::printf("%lld %u\n", static_cast<long long>(arrival.nanoseconds), arrival.number);
}
