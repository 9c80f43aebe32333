// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/Intake.h"

#include "stream/DataDatagram.h"

#include <chrono>
#include <ctime>

namespace feedline::hub {

namespace {

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
    if (const auto rate = finder_.add(position, nanoseconds))
        rate_.store(*rate, std::memory_order_relaxed);
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
    finder_ = client::RateFinder(*kind_.load(std::memory_order_relaxed));
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

} // namespace feedline::hub
