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
    : m_options(options), m_presenter(presenter), m_notes(notes),
      m_receiver(options.bind, options.port),
      m_client(options.host, options.port, ControlClient::Seconds(options.timeout),
               ControlClient::Seconds(options.wait)),
      m_stop(eventfd(0, EFD_CLOEXEC)) {
    m_facts.target = m_client.targetName();
    m_facts.server = options.host + ":" + std::to_string(options.port);
    m_facts.frequency = options.tune;
    m_facts.length = options.seconds;
    m_facts.wantedBuffer = DatagramReceiver::wantedBuffer;
    m_facts.grantedBuffer = m_receiver.grantedBuffer();
    remarkOnBuffer();
}

void Session::remarkOnBuffer() {
    if (m_facts.grantedBuffer < m_facts.wantedBuffer)
        note("the system grants " + std::to_string(m_facts.grantedBuffer >> 10) + " of " +
             std::to_string(m_facts.wantedBuffer >> 10) +
             " KiB of receive buffer; net.core.rmem_max is the limit (sysctl)");
}

ExitStatus Session::run() {
    const SignalEvents signals;
    m_analyser.start();
    m_receiver.start({&m_analyser.queue()});
    startReceiver();
    return conclude(stopReceiver(watch(signals)));
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
    while (!timeIsOver()) {
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
    const ReceptionFigures reception = m_receiver.figures();
    m_presenter.summary(m_facts, figures(m_analyser.total(), reception.overallRate));
    return judge(end, reception);
}

// The gravest outcome decides.
ExitStatus Session::judge(End end, const ReceptionFigures& reception) {
    if (end == End::ServerGone) {
        note(m_facts.server + " closed the connection while the stream ran");
        return ExitStatus::ConnectionLost;
    }
    if (reception.counts.received == 0) {
        note("no datagrams came; the server sends them to the address in its settings, UDP port " +
             std::to_string(m_options.port));
        return ExitStatus::NothingReceived;
    }
    if (reception.counts.lost != 0) {
        note("lost " + std::to_string(reception.counts.lost) + " datagrams");
        return ExitStatus::SamplesLost;
    }
    return ExitStatus::Success;
}

void Session::note(const std::string& line) {
    m_notes << "feedline-probe: " << line << std::endl;
}

} // namespace feedline::probe
