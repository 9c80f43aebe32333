// SPDX-License-Identifier: MIT
// What a pair costs in the vendors' libraries and in our callbacks, on the libraries' own callback
// threads, over the emulated receivers: run with FEEDLINE_EMULATOR_SPEED and the emulator's library
// first in the loader's path.
//
// Usage: VendorLibrariesBench hf|airspy BLOCKS. Prints one "name value" line a figure.

#include "app/RunTimeState.h"
#include "stream/SampleCallbacks.h"
#include "stream/SampleRing.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/resource.h>
#include <unistd.h>

using namespace feedline;

namespace {

long blocksWanted = 0;
std::atomic<long> blocksSeen{0};
double threadAtFirst = 0;
double threadAtLast = 0;
double inCallback = 0;
long pairsMeasured = 0;
long faults = 0;
long voluntarySwitches = 0;

double seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Between two readings of a clock that takes no system call: the thread's own clock does, and its
/// cost would count as the callback's. So does an interruption, here.
template <typename Transfer>
int timed(Transfer* transfer, int (*callback)(Transfer*)) {
    const double start = seconds(CLOCK_MONOTONIC);
    const int result = callback(transfer);
    inCallback += seconds(CLOCK_MONOTONIC) - start;
    pairsMeasured += transfer->sample_count;
    return result;
}

template <typename Transfer>
int counted(Transfer* transfer, int (*callback)(Transfer*)) {
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_THREAD, &before);
    const int result = callback(transfer);
    getrusage(RUSAGE_THREAD, &after);
    faults += after.ru_minflt - before.ru_minflt + after.ru_majflt - before.ru_majflt;
    voluntarySwitches += after.ru_nvcsw - before.ru_nvcsw;
    return result;
}

/// The first block warms everything up, `blocksWanted` are timed, and as many are counted.
template <typename Transfer>
int measured(Transfer* transfer, int (*callback)(Transfer*)) {
    const long block = blocksSeen;
    int result = 0;
    if (block == 0)
        result = callback(transfer);
    else if (block <= blocksWanted)
        result = timed(transfer, callback);
    else
        result = counted(transfer, callback);
    if (block == 0)
        threadAtFirst = seconds(CLOCK_THREAD_CPUTIME_ID);
    if (block == blocksWanted)
        threadAtLast = seconds(CLOCK_THREAD_CPUTIME_ID);
    ++blocksSeen;
    return result;
}

int onHf(airspyhf_transfer_t* transfer) {
    return measured(transfer, airspyHfSampleCallback);
}
int onAirspy(airspy_transfer_t* transfer) {
    return measured(transfer, airspySampleCallback);
}

bool startHf() {
    airspyhf_device_t* device = nullptr;
    if (!makeSampleRing())
        return false;
    populateSampleRing();
    return airspyhf_open(&device) == 0 && airspyhf_set_samplerate(device, 0) == 0 &&
           airspyhf_set_freq(device, 7100000) == 0 && airspyhf_start(device, onHf, nullptr) == 0;
}

bool startAirspy() {
    airspy_device* device = nullptr;
    return airspy_open(&device) == 0 &&
           airspy_set_sample_type(device, AIRSPY_SAMPLE_INT16_IQ) == 0 &&
           airspy_set_samplerate(device, 1) == 0 && airspy_set_freq(device, 100000000) == 0 &&
           airspy_start_rx(device, onAirspy, nullptr) == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const bool hf = std::strcmp(argv[1], "hf") == 0;
    blocksWanted = std::atol(argv[2]);
    udpAddress.assign("127.0.0.1");
    serverPortNumber = 9; // Nobody listens; the send itself is what costs.
    if (!(hf ? startHf() : startAirspy()))
        return 1;
    while (blocksSeen <= 2 * blocksWanted)
        ::usleep(1000);
    const auto pairs = static_cast<double>(pairsMeasured);
    const double inVendor = threadAtLast - threadAtFirst - inCallback;
    std::printf("callback_ns_per_pair %.2f\n", 1e9 * inCallback / pairs);
    std::printf("vendor_ns_per_pair %.2f\n", 1e9 * inVendor / pairs);
    std::printf("callback_over_vendor %.4f\n", inCallback / inVendor);
    std::printf("page_faults_in_callback %ld\n", faults);
    std::printf("voluntary_switches_in_callback %ld\n", voluntarySwitches);
    std::fflush(stdout);
    std::_Exit(0);
}
