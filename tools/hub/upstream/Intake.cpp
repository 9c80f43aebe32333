// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/Intake.h"

#include "stream/DataDatagram.h"

#include <chrono>
#include <cmath>
#include <ctime>

namespace feedline::hub {

namespace {

// A slope over less than this is too far off to choose among the rates that receivers have.
constexpr std::int64_t shortestMeasurement = 300'000'000; // ns
// One over this much is taken as it is.
constexpr std::int64_t fullMeasurement = 2'500'000'000; // ns

// Arrival times are of the clock on the wall; what is reckoned with them here is the steady one.
Clock::time_point steady(std::int64_t nanoseconds) {
    timespec wall{};
    clock_gettime(CLOCK_REALTIME, &wall);
    const auto now = std::chrono::seconds(wall.tv_sec) + std::chrono::nanoseconds(wall.tv_nsec);
    return Clock::now() - (now - std::chrono::nanoseconds(nanoseconds));
}

} // namespace

void Intake::samples(std::int64_t position, std::int64_t nanoseconds,
                     std::span<const std::int16_t> samples) {
    beginIfExpected();
    const std::size_t pairs = samples.size() / 2;
    measure(position, nanoseconds, pairs / datagram::pairs);
    pairs_.fetch_add(pairs, std::memory_order_relaxed);
    lastArrival_.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
    if (band_.tuned().rate != 0)
        band_.write(samples, steady(nanoseconds));
}

void Intake::gap(std::int64_t from, std::int64_t to) {
    beginIfExpected();
    const auto pairs = static_cast<std::uint64_t>(to - from) * datagram::pairs;
    lost_.fetch_add(pairs, std::memory_order_relaxed);
    band_.lose(pairs);
}

void Intake::restart(std::int64_t /*position*/) {
    band_.restart();
    meter_ = {};
    runBegan_ = 0;
}

void Intake::beginIfExpected() {
    if (runExpected_.exchange(false, std::memory_order_relaxed))
        restart(0);
}

void Intake::expectRun(const client::ReceiverKind& kind) {
    kind_ = &kind;
    rate_ = 0;
    runExpected_ = true;
}

Clock::time_point Intake::lastArrival() const {
    return Clock::time_point(Clock::duration(lastArrival_.load(std::memory_order_relaxed)));
}

// Datagrams that came in one go have one time of arrival: that of the first.
void Intake::measure(std::int64_t position, std::int64_t nanoseconds, std::size_t datagrams) {
    for (std::size_t at = 0; at < datagrams; ++at)
        meter_.add(position + static_cast<std::int64_t>(at), nanoseconds);
    if (runBegan_ == 0)
        runBegan_ = nanoseconds;
    const std::int64_t length = nanoseconds - runBegan_;
    if (length < shortestMeasurement)
        return;
    const double measured = meter_.current();
    const double plausible = client::nearestRate(*kind_.load(std::memory_order_relaxed), measured);
    const bool known = plausible != std::round(measured);
    if (known || length >= fullMeasurement)
        rate_.store(plausible, std::memory_order_relaxed);
}

} // namespace feedline::hub
