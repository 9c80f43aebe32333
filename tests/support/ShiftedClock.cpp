// SPDX-License-Identifier: MIT
// Loaded ahead of the C library (LD_PRELOAD) into a program under test: its wall clock is as far
// off as the file says that FEEDLINE_TEST_CLOCK names, which holds one 64-bit number of seconds and
// may change at any time. The kernel's clock stays as it is: a wait until a moment of the wall
// clock would then take as much longer as the clock is ahead, and be seen.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

const std::atomic<std::int64_t>* openShift() {
    const char* const name = std::getenv("FEEDLINE_TEST_CLOCK");
    const int file = ::open(name != nullptr ? name : "", O_RDONLY | O_CLOEXEC);
    void* const shared = ::mmap(nullptr, sizeof(std::int64_t), PROT_READ, MAP_SHARED, file, 0);
    ::close(file);
    if (shared == MAP_FAILED)
        std::abort();
    return static_cast<const std::atomic<std::int64_t>*>(shared);
}

time_t shift() {
    static const std::atomic<std::int64_t>* const seconds = openShift();
    return static_cast<time_t>(seconds->load());
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto real =
        reinterpret_cast<int (*)(clockid_t, timespec*)>(::dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = real(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        time->tv_sec += shift();
    return result;
}

__attribute__((visibility("default"))) int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}

__attribute__((visibility("default"))) time_t time(time_t* result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr)
        *result = now.tv_sec;
    return now.tv_sec;
}
}
