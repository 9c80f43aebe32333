#include "tools/hub/upstream/Intake.h"

#include "stream/DataDatagram.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <pthread.h>

namespace feedline::hub {

namespace {

using client::Arrival;

constexpr std::size_t queueLimit = 16384; // datagrams, 17 MB

// A slope over less than this is too far off to choose among the rates that receivers have.
constexpr std::int64_t shortestMeasurement = 300'000'000; // ns
// One over this much is taken as it is.
constexpr std::int64_t fullMeasurement = 2'500'000'000; // ns

// Arrival times are of the clock on the wall; what is reckoned with them here is the steady one.
Clock::duration wallToSteady() {
    timespec wall{};
    clock_gettime(CLOCK_REALTIME, &wall);
    const auto sinceEpoch =
        std::chrono::seconds(wall.tv_sec) + std::chrono::nanoseconds(wall.tv_nsec);
    return Clock::now().time_since_epoch() - sinceEpoch;
}

} // namespace

Intake::Intake(Band& band) : band_(band), queue_(queueLimit) {}

Intake::~Intake() {
    if (thread_.joinable())
        thread_.join();
}

void Intake::start() {
    thread_ = std::thread([this] {
        pthread_setname_np(pthread_self(), "hub-band");
        run();
    });
}

void Intake::expectRun() {
    rate_ = 0;
    runExpected_ = true;
}

Clock::time_point Intake::lastArrival() const {
    return Clock::time_point(Clock::duration(lastArrival_.load(std::memory_order_relaxed)));
}

void Intake::run() {
    while (const client::BatchPointer batch = queue_.pop()) {
        const Clock::duration offset = wallToSteady();
        for (const client::ReceivedDatagram& datagram : *batch)
            take(datagram,
                 Clock::time_point(std::chrono::nanoseconds(datagram.nanoseconds) + offset));
        lastArrival_.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
    }
    band_.flush();
}

void Intake::take(const client::ReceivedDatagram& datagram, Clock::time_point arrival) {
    const auto& verdict = datagram.verdict;
    if (runExpected_.exchange(false, std::memory_order_relaxed) ||
        verdict.arrival == Arrival::restart) {
        band_.restart();
        meter_ = {};
        runBegan_ = 0;
        next_ = -1;
    }
    // A gap is passed on at once: to wait for a late datagram would hold up every listener.
    if (verdict.arrival == Arrival::late || verdict.arrival == Arrival::duplicate)
        return;
    measure(datagram);
    pairs_.fetch_add(datagram::pairs, std::memory_order_relaxed);
    if (next_ >= 0 && verdict.position > next_)
        lose(static_cast<std::uint64_t>(verdict.position - next_));
    next_ = verdict.position + 1;
    if (band_.tuned().rate != 0)
        band_.write(datagram.samples, arrival);
}

void Intake::lose(std::uint64_t datagrams) {
    lost_.fetch_add(datagrams * datagram::pairs, std::memory_order_relaxed);
    band_.lose(datagrams * datagram::pairs);
}

void Intake::measure(const client::ReceivedDatagram& datagram) {
    meter_.add(datagram.verdict.position, datagram.nanoseconds);
    if (runBegan_ == 0)
        runBegan_ = datagram.nanoseconds;
    const std::int64_t length = datagram.nanoseconds - runBegan_;
    if (length < shortestMeasurement)
        return;
    const double measured = meter_.current();
    const double plausible = client::plausibleRate(measured);
    const bool known = plausible != std::round(measured);
    if (known || length >= fullMeasurement)
        rate_.store(plausible, std::memory_order_relaxed);
}

} // namespace feedline::hub
