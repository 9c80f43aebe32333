#include "probe/Session.h"

#include "probe/SignalEvents.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/eventfd.h>

namespace feedline::probe {

namespace {

constexpr auto second = std::chrono::seconds(1);
constexpr auto betweenSpectra = std::chrono::milliseconds(200);

} // namespace

Session::Session(const Options& options, Presenter& presenter, std::ostream& notes)
    : m_options(options), m_presenter(presenter), m_notes(notes), m_stop(eventfd(0, EFD_CLOEXEC)),
      m_recorder(makeRecorder()), m_plot(makePlot()), m_analyser(!options.plot.empty()),
      m_receiver(options.bind, options.port),
      m_client(options.host, options.port, ControlClient::Seconds(options.timeout),
               ControlClient::Seconds(options.wait)) {
    m_facts.target = m_client.targetName();
    m_facts.server = options.host + ":" + std::to_string(options.port);
    m_facts.frequency = options.tune;
    m_facts.length = options.seconds;
    m_facts.recording = options.recording;
    m_facts.wantedBuffer = DatagramReceiver::wantedBuffer;
    m_facts.grantedBuffer = m_receiver.grantedBuffer();
    remarkOnBuffer();
}

std::unique_ptr<Recorder> Session::makeRecorder() {
    if (m_options.recording.empty())
        return nullptr;
    return std::make_unique<Recorder>(m_options.recording, m_options.force, m_options.rate,
                                      [this] { requestStop(); });
}

std::unique_ptr<PlotOutput> Session::makePlot() const {
    if (m_options.plot.empty())
        return nullptr;
    return std::make_unique<PlotOutput>(m_options.plot, m_options.force);
}

void Session::remarkOnBuffer() {
    if (m_facts.grantedBuffer < m_facts.wantedBuffer)
        note("the system grants " + std::to_string(m_facts.grantedBuffer >> 10) + " of " +
             std::to_string(m_facts.wantedBuffer >> 10) +
             " KiB of receive buffer; net.core.rmem_max is the limit (sysctl)");
}

ExitStatus Session::run() {
    const SignalEvents signals;
    startWorkers();
    startReceiver();
    return conclude(stopReceiver(watch(signals)));
}

void Session::startWorkers() {
    std::vector<BatchQueue*> queues{&m_analyser.queue()};
    m_analyser.start();
    if (m_recorder) {
        m_recorder->start(m_facts.target, m_facts.frequency);
        queues.push_back(&m_recorder->queue());
    }
    m_receiver.start(queues);
}

void Session::requestStop() {
    eventfd_write(m_stop.get(), 1);
}

void Session::startReceiver() {
    if (m_options.tune)
        m_client.setFrequency(*m_options.tune);
    m_client.setRunning(true);
    m_begin = Clock::now();
    m_nextSecond = m_begin + second;
    m_nextSpectrum =
        m_presenter.wantsSpectra() ? m_begin + betweenSpectra : Clock::time_point::max();
    m_end = Clock::time_point::max();
    if (m_options.seconds)
        m_end = m_begin + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(*m_options.seconds));
}

Session::End Session::watch(const SignalEvents& signals) {
    std::array<pollfd, 3> waiting{
        {{signals.fd(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}, {m_client.fd(), POLLIN, 0}}};
    while (!timeIsOver() && m_presenter.works()) {
        present();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextEvent() - Clock::now());
        if (poll(waiting.data(), waiting.size(), std::max(0, static_cast<int>(left.count()))) <= 0)
            continue;
        if (waiting[0].revents != 0 || waiting[1].revents != 0)
            break;
        if (waiting[2].revents != 0 && !m_client.alive())
            return End::ServerGone;
    }
    return End::Asked;
}

Session::End Session::stopReceiver(End end) {
    if (end == End::ServerGone)
        return end;
    try {
        m_client.setRunning(false);
    } catch (const Failure& failure) {
        note(std::string(failure.what()) + "; the receiver may be running still");
        return End::ServerGone;
    }
    return end;
}

Session::Clock::time_point Session::nextEvent() const {
    return std::min({m_nextSecond, m_nextSpectrum, m_end});
}

bool Session::timeIsOver() const {
    return Clock::now() >= m_end;
}

void Session::present() {
    const auto now = Clock::now();
    if (now >= m_nextSecond) {
        m_nextSecond += second;
        m_latest = figures(m_analyser.takeSecond(), m_receiver.figures().currentRate);
        m_presenter.second(m_facts, m_latest);
    }
    if (now >= m_nextSpectrum) {
        m_nextSpectrum += betweenSpectra;
        m_presenter.spectrum(m_facts, m_latest, m_analyser.takeView().average());
    }
}

Figures Session::figures(const Analyser::Result& result, double measuredRate) {
    Figures figures;
    figures.elapsed = std::chrono::duration<double>(Clock::now() - m_begin).count();
    figures.sampleRate = measuredRate;
    figures.reception = m_receiver.figures();
    figures.axisRate = m_options.rate.value_or(plausibleRate(figures.reception.overallRate));
    figures.levels = result.levels;
    figures.carrier = strongestCarrier(result.power.average(), figures.axisRate);
    return figures;
}

ExitStatus Session::conclude(End end) {
    m_receiver.stop();
    m_analyser.finish();
    Figures total = figures(m_analyser.total(), m_receiver.figures().overallRate);
    total.unanalysed = m_analyser.queue().refusedCount();
    if (m_recorder)
        total.recording = m_recorder->finish();
    m_presenter.summary(m_facts, total);
    return judge(end, total);
}

// The gravest outcome decides; each has its line.
ExitStatus Session::judge(End end, const Figures& total) {
    const SequenceCounts& counts = total.reception.counts;
    ExitStatus status = ExitStatus::Success;
    if (counts.lost != 0) {
        note("lost " + std::to_string(counts.lost) + " datagrams");
        status = ExitStatus::SamplesLost;
    }
    if (counts.received == 0) {
        note("no datagrams came; the server sends them to the address in its settings, UDP port " +
             std::to_string(m_options.port));
        status = ExitStatus::NothingReceived;
    }
    if (end == End::ServerGone) {
        note(m_facts.server + " closed the connection while the stream ran");
        status = ExitStatus::ConnectionLost;
    }
    return outputFailed(total) ? ExitStatus::OutputFailed : status;
}

bool Session::outputFailed(const Figures& total) {
    bool failed = !writePicture(total);
    if (total.recording && total.recording->failure) {
        note("the recording ended early: " + *total.recording->failure);
        failed = true;
    }
    if (total.recording && total.recording->slowPairs != 0) {
        note("the disk was too slow: " + std::to_string(total.recording->slowPairs) +
             " IQ pairs came but are missing in the recording");
        failed = true;
    }
    if (!m_presenter.works()) {
        note("cannot write to standard output");
        failed = true;
    }
    return failed;
}

bool Session::writePicture(const Figures& total) {
    const Spectrum spectrum = m_analyser.total().power.average();
    if (!m_plot || spectrum.empty())
        return !m_plot;
    try {
        m_plot->write(m_facts, total, spectrum, m_analyser.history());
    } catch (const Failure& failure) {
        note(failure.what());
        return false;
    }
    return true;
}

void Session::note(const std::string& line) {
    m_notes << "feedline-probe: " << line << std::endl;
}

} // namespace feedline::probe
