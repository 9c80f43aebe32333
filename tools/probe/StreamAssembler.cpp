#include "probe/StreamAssembler.h"

namespace feedline::probe {

void StreamAssembler::add(const ReceivedDatagram& datagram) {
    const std::int64_t position = datagram.verdict.position;
    if (!m_started) {
        m_started = true;
        m_next = position;
    }
    if (position < m_next || datagram.verdict.arrival == Arrival::Duplicate)
        return;
    if (position == m_next && m_waiting.empty()) {
        ++m_next;
        m_receiver.datagram(datagram);
        return;
    }
    m_waiting.emplace(position, datagram);
    release(patience);
}

void StreamAssembler::finish() {
    release(0);
}

void StreamAssembler::release(std::size_t mayWait) {
    while (!m_waiting.empty()) {
        const auto first = m_waiting.begin();
        if (first->first != m_next) {
            if (m_waiting.size() <= mayWait)
                return;
            m_receiver.gap(m_next, first->first);
        }
        m_next = first->first + 1;
        m_receiver.datagram(first->second);
        m_waiting.erase(first);
    }
}

} // namespace feedline::probe
