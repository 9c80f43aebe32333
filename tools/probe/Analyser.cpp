#include "probe/Analyser.h"

#include <utility>

namespace feedline::probe {

Analyser::~Analyser() {
    m_queue.close();
    finish();
}

void Analyser::start() {
    m_thread = std::thread([this] { run(); });
}

void Analyser::finish() {
    if (m_thread.joinable())
        m_thread.join();
}

Analyser::Result Analyser::takeSecond() {
    const std::lock_guard lock(m_mutex);
    distribute();
    return std::exchange(m_second, {}).result();
}

PowerSum Analyser::takeView() {
    const std::lock_guard lock(m_mutex);
    distribute();
    return std::exchange(m_view, {});
}

Analyser::Result Analyser::total() {
    const std::lock_guard lock(m_mutex);
    distribute();
    return m_total.result();
}

void Analyser::run() {
    while (const BatchPointer batch = m_queue.pop()) {
        const std::lock_guard lock(m_mutex);
        analyse(*batch);
    }
}

void Analyser::analyse(const Batch& batch) {
    for (const ReceivedDatagram& received : batch) {
        if (received.verdict.arrival == Arrival::Late ||
            received.verdict.arrival == Arrival::Duplicate)
            continue;
        const auto pair = received.verdict.position * static_cast<std::int64_t>(datagram::pairs);
        if (m_keepHistory && !m_history.sameRow(pair, m_pair))
            distribute();
        m_pair = pair;
        m_meter.add(received.samples);
        m_estimator.add(received.samples, pair);
    }
}

// What has been added up so far goes to everybody who is interested.
void Analyser::distribute() {
    const PowerSum power = m_estimator.take();
    for (Sums* sums : {&m_second, &m_total}) {
        sums->meter.add(m_meter);
        sums->power.add(power);
    }
    m_view.add(power);
    if (m_keepHistory)
        m_history.add(m_pair, power);
    m_meter.reset();
}

} // namespace feedline::probe
