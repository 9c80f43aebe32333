// SPDX-License-Identifier: MIT
// One of the server's hot paths, for callgrind to count: the two sample callbacks, and a request
// from its receipt to its answer.
//
// Usage: valgrind --tool=callgrind --collect-atstart=no performance_SamplePaths PATH, where PATH is
// hf-callback (a pair), airspy-callback (a datagram) or request (one). Prints how often the path
// was taken while callgrind counted.

#include "MemoryPlatform.h"
#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "protocol/ControlMessage.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <sys/socket.h>
#include <vector>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT static_cast<void>(0) // Another tool counts.
#endif

namespace feedline {
namespace {

/// Once to warm up, so that nothing is made or looked up while callgrind counts, and then counted.
void count(const std::function<void()>& path) {
    path();
    CALLGRIND_TOGGLE_COLLECT;
    path();
    CALLGRIND_TOGGLE_COLLECT;
}

long hfCallback() {
    constexpr int pairs = 2048; // as libairspyhf delivers them
    std::vector<airspyhf_complex_float_t> samples(pairs, {0.25F, -0.5F});
    airspyhf_transfer_t transfer{};
    transfer.samples = samples.data();
    transfer.sample_count = pairs;
    if (!makeSampleRing())
        throw std::runtime_error("no memory for the ring");
    count([&] { airspyHfSampleCallback(&transfer); });
    return pairs;
}

long airspyCallback() {
    constexpr int pairs = 65536; // as libairspy delivers them
    std::vector<std::int16_t> samples(std::size_t{2} * pairs, 1);
    airspy_transfer_t transfer{};
    transfer.samples = samples.data();
    transfer.sample_count = pairs;
    udpAddress.assign("127.0.0.1");
    serverPortNumber = 9; // Nobody listens, and nobody has to.
    count([&] { airspySampleCallback(&transfer); });
    return pairs / static_cast<long>(datagram::pairs);
}

long request() {
    std::array<int, 2> connection{};
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, connection.data()) != 0)
        throw std::runtime_error("no connection");
    clientSocket = connection[0];
    test::MemoryPlatform memory;
    AppDelegate controller(memory.platform());
    const std::array<std::uint8_t, 4> askStatus{4, TYPE_REQUEST_CITEM, itemReceiverStatus, 0};
    count([&] { controller.myDidReadData(askStatus.data(), askStatus.size()); });
    std::array<std::uint8_t, 64> answers{};
    if (::recv(connection[1], answers.data(), answers.size(), 0) != 10)
        throw std::runtime_error("two requests without two answers");
    return 1;
}

long run(const char* path) {
    if (std::strcmp(path, "hf-callback") == 0)
        return hfCallback();
    if (std::strcmp(path, "airspy-callback") == 0)
        return airspyCallback();
    if (std::strcmp(path, "request") == 0)
        return request();
    throw std::invalid_argument("no such path");
}

} // namespace
} // namespace feedline

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    std::printf("%ld\n", feedline::run(argv[1]));
    std::fflush(stdout);
    std::_Exit(0);
}
