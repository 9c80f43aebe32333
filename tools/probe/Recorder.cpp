#include "probe/Recorder.h"

#include "probe/ExitStatus.h"

#include <algorithm>

namespace feedline::probe {

Recorder::Recorder(const std::string& name, bool force, std::optional<double> rate,
                   std::function<void()> onFailure, std::size_t queueLimit)
    : m_queue(queueLimit), m_recording(Recording::create(name, force)), m_rate(rate),
      m_onFailure(std::move(onFailure)),
      m_assembler({[this](const ReceivedDatagram& datagram) { writeDatagram(datagram); },
                   [this](std::int64_t from, std::int64_t to) {
                       writeGap(from, to);
                   }}) {}

Recorder::~Recorder() {
    m_queue.close();
    if (m_thread.joinable())
        m_thread.join();
    else if (!m_begun)
        m_recording->discard();
}

void Recorder::start(const std::string& target, std::optional<std::uint32_t> frequency) {
    m_facts.target = target;
    m_facts.frequency = frequency;
    m_thread = std::thread([this] { run(); });
}

RecordingOutcome Recorder::finish() {
    if (m_thread.joinable())
        m_thread.join();
    m_outcome.slowPairs = m_queue.refusedCount() * datagram::pairs;
    return m_outcome;
}

void Recorder::run() {
    while (BatchPointer batch = m_queue.pop())
        if (!m_outcome.failure)
            take(std::move(batch));
    guarded([this] {
        writeWaiting();
        m_assembler.finish();
    });
    if (!m_begun)
        m_recording->discard();
    else
        guarded([this] { m_recording->finish(); });
}

void Recorder::take(BatchPointer batch) {
    if (!m_begun)
        for (const ReceivedDatagram& datagram : *batch)
            m_meter.add(datagram.verdict.position, datagram.nanoseconds);
    m_waiting.push_back(std::move(batch));
    if (m_begun || rateKnown())
        guarded([this] { writeWaiting(); });
}

// A backlog, sent in one burst when the stream starts, would spoil the first second's measurement.
bool Recorder::rateKnown() const {
    return m_rate || m_meter.windows() >= 2;
}

double Recorder::rate() const {
    return m_rate.value_or(plausibleRate(m_meter.current()));
}

void Recorder::begin() {
    m_facts.start = m_waiting.front()->front().nanoseconds;
    m_facts.sampleRate = std::max(rate(), 1.0);
    m_begun = true;
    m_recording->begin(m_facts);
}

void Recorder::writeWaiting() {
    if (m_waiting.empty())
        return;
    if (!m_begun)
        begin();
    for (const BatchPointer& batch : m_waiting)
        for (const ReceivedDatagram& datagram : *batch)
            m_assembler.add(datagram);
    m_waiting.clear();
}

// The first failure ends the writing; what can still be done is to complete the file.
void Recorder::guarded(const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        if (m_outcome.failure)
            return;
        m_outcome.failure = failure.what();
        m_waiting.clear();
        m_onFailure();
    }
}

void Recorder::writeDatagram(const ReceivedDatagram& datagram) {
    if (m_outcome.failure)
        return;
    m_recording->write(datagram.samples);
    m_outcome.pairs += datagram::pairs;
}

void Recorder::writeGap(std::int64_t from, std::int64_t to) {
    if (m_outcome.failure)
        return;
    static constexpr std::array<std::int16_t, datagram::entries> zeros{};
    const auto pairs = static_cast<std::uint64_t>(to - from) * datagram::pairs;
    const bool slow = m_queue.refused(from, to);
    m_outcome.lostPairs += slow ? 0 : pairs;
    m_recording->annotate(m_outcome.pairs, pairs,
                          slow ? "not recorded: disk too slow" : "datagrams lost");
    for (std::int64_t at = from; at != to; ++at) {
        m_recording->write(zeros);
        m_outcome.pairs += datagram::pairs;
    }
}

} // namespace feedline::probe
