#include "probe/SequenceTracker.h"

namespace feedline::probe {

Verdict SequenceTracker::add(std::uint16_t number) {
    if (!m_started)
        return first(number);
    const unsigned gap = static_cast<std::uint16_t>(number - m_due);
    const unsigned distance = 0x10000U - gap;
    if (gap != 0 && distance <= reorderWindow)
        return behind(number, distance);
    m_run = 0;
    if (number < lowNumbers && gap > reorderWindow)
        return restart(number, 0);
    return ahead(number, gap);
}

Verdict SequenceTracker::first(std::uint16_t number) {
    m_started = true;
    m_due = number;
    return ahead(number, 0);
}

Verdict SequenceTracker::ahead(std::uint16_t number, unsigned gap) {
    const std::int64_t position = m_position + gap;
    advanceTo(position + 1);
    m_seen.set(slot(position));
    m_due = static_cast<std::uint16_t>(number + 1);
    m_counts.lost += gap;
    ++m_counts.received;
    return {gap == 0 ? Arrival::InOrder : Arrival::AfterGap, position};
}

Verdict SequenceTracker::behind(std::uint16_t number, unsigned distance) {
    if (continuesRun(number))
        return restart(number, restartRun - 1);
    const std::int64_t position = m_position - distance;
    if (m_seen.test(slot(position))) {
        ++m_counts.duplicated;
        return {Arrival::Duplicate, position};
    }
    m_seen.set(slot(position));
    // What left before the first datagram received was never counted as lost.
    if (position >= m_beginning)
        --m_counts.lost;
    ++m_counts.reordered;
    ++m_counts.received;
    return {Arrival::Late, position};
}

// The datagrams that have already been received under the new count are given their places, so that
// positions go on in step with the samples.
Verdict SequenceTracker::restart(std::uint16_t number, unsigned alreadyReceived) {
    if (alreadyReceived != 0) {
        m_counts = m_beforeRun;
        m_counts.received += alreadyReceived;
    }
    m_run = 0;
    ++m_counts.restarts;
    ++m_counts.received;
    m_beginning = m_position;
    const std::int64_t position = m_position + alreadyReceived;
    m_seen.reset();
    m_position = position + 1;
    for (std::int64_t seen = m_beginning; seen <= position; ++seen)
        m_seen.set(slot(seen));
    m_due = static_cast<std::uint16_t>(number + 1);
    return {Arrival::Restart, position};
}

bool SequenceTracker::continuesRun(std::uint16_t number) {
    if (m_run == 0 || number != m_runNext) {
        m_run = 0;
        m_beforeRun = m_counts;
    }
    ++m_run;
    m_runNext = static_cast<std::uint16_t>(number + 1);
    return m_run == restartRun && number < lowNumbers;
}

void SequenceTracker::advanceTo(std::int64_t position) {
    if (position - m_position >= static_cast<std::int64_t>(m_seen.size()))
        m_seen.reset();
    else
        for (std::int64_t at = m_position; at < position; ++at)
            m_seen.reset(slot(at));
    m_position = position;
}

std::size_t SequenceTracker::slot(std::int64_t position) const {
    const auto size = static_cast<std::int64_t>(m_seen.size());
    return static_cast<std::size_t>(((position % size) + size) % size);
}

} // namespace feedline::probe
