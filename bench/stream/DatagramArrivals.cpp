// The client of the latency figures: receives a stream's datagrams for some seconds, with nothing
// to do between two of them but look at the clock.
//
// Usage: DatagramArrivals PORT SECONDS. Says "ready" when it listens, and prints a line
// "nanoseconds number" for each datagram at the end, by the monotonic clock.

#include "stream/DataDatagram.h"

#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>
#include <sys/time.h>
#include <vector>

using namespace feedline;

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

int listenOn(std::uint16_t port) {
    const int made = ::socket(AF_INET, SOCK_DGRAM, 0);
    const int size = 4 << 20;
    if (::setsockopt(made, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0) // root only
        ::setsockopt(made, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    const timeval atMost{0, 100000};
    ::setsockopt(made, SOL_SOCKET, SO_RCVTIMEO, &atMost, sizeof atMost);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    local.sin_port = htons(port);
    if (::bind(made, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        std::exit(1);
    return made;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const int socket = listenOn(static_cast<std::uint16_t>(std::atoi(argv[1])));
    const std::int64_t seconds = std::atoi(argv[2]);
    std::vector<Arrival> arrivals;
    arrivals.reserve(static_cast<std::size_t>(seconds) * 12000);
    std::puts("ready");
    std::fflush(stdout);
    std::array<std::uint8_t, 2048> bytes{};
    for (const std::int64_t end = now() + seconds * 1000000000; now() < end;)
        if (::recv(socket, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(datagram::size))
            arrivals.push_back({now(), bytes[2] + 256U * bytes[3]});
    for (const Arrival& arrival : arrivals)
        std::printf("%lld %u\n", static_cast<long long>(arrival.nanoseconds), arrival.number);
}
