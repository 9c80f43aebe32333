// SPDX-License-Identifier: MIT
#include "tools/probe/analysis/Analyser.h"

#include <utility>

namespace feedline::probe {

Analyser::~Analyser() {
    queue_.close();
    finish();
}

void Analyser::start() {
    thread_ = std::thread([this] { run(); });
}

void Analyser::finish() {
    if (thread_.joinable())
        thread_.join();
}

Analyser::Result Analyser::takeSecond() {
    const std::lock_guard lock(mutex_);
    distribute();
    return std::exchange(second_, {}).result();
}

PowerSum Analyser::takeView() {
    const std::lock_guard lock(mutex_);
    distribute();
    return std::exchange(view_, {});
}

Analyser::Result Analyser::total() {
    const std::lock_guard lock(mutex_);
    distribute();
    return total_.result();
}

void Analyser::run() {
    while (const client::BatchPointer batch = queue_.pop()) {
        const std::lock_guard lock(mutex_);
        analyse(*batch);
    }
}

void Analyser::analyse(const client::Batch& batch) {
    for (const client::ReceivedDatagram& received : batch) {
        if (received.verdict.arrival == client::Arrival::late ||
            received.verdict.arrival == client::Arrival::duplicate)
            continue;
        const auto pair = received.verdict.position * static_cast<std::int64_t>(datagram::pairs);
        if (keepHistory_ && !history_.sameRow(pair, pair_))
            distribute();
        pair_ = pair;
        meter_.add(received.samples);
        estimator_.add(received.samples, pair);
    }
}

// What has been added up so far goes to everybody who is interested.
void Analyser::distribute() {
    const PowerSum power = estimator_.take();
    for (Sums* sums : {&second_, &total_}) {
        sums->meter.add(meter_);
        sums->power.add(power);
    }
    view_.add(power);
    if (keepHistory_)
        history_.add(pair_, power);
    meter_.reset();
}

} // namespace feedline::probe
