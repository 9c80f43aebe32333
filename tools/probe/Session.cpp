// SPDX-License-Identifier: MIT
#include "tools/probe/Session.h"

#include "tools/client/Receivers.h"
#include "tools/probe/SignalEvents.h"

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
    : options_(options), presenter_(presenter), notes_(notes), stop_(eventfd(0, EFD_CLOEXEC)),
      recorder_(makeRecorder()), plot_(makePlot()), analyser_(!options.plot.empty()),
      receiver_(options.bind, options.port), client_(endpointOf(options), timeLimitsOf(options)) {
    facts_.target = client_.targetName();
    facts_.server = options.host + ":" + std::to_string(options.port);
    facts_.frequency = options.tune;
    facts_.length = options.seconds;
    facts_.recording = options.recording;
    facts_.wantedBuffer = client::DatagramReceiver::wantedBuffer;
    facts_.grantedBuffer = receiver_.grantedBuffer();
    remarkOnBuffer();
}

std::unique_ptr<Recorder> Session::makeRecorder() {
    if (options_.recording.empty())
        return nullptr;
    return std::make_unique<Recorder>(options_.recording, options_.force, options_.rate,
                                      [this] { requestStop(); });
}

std::unique_ptr<PlotOutput> Session::makePlot() const {
    if (options_.plot.empty())
        return nullptr;
    return std::make_unique<PlotOutput>(options_.plot, options_.force);
}

void Session::remarkOnBuffer() {
    if (facts_.grantedBuffer < facts_.wantedBuffer)
        note("the system grants " + std::to_string(facts_.grantedBuffer >> 10) + " of " +
             std::to_string(facts_.wantedBuffer >> 10) +
             " KiB of receive buffer; net.core.rmem_max is the limit (sysctl)");
}

ExitStatus Session::run() {
    const SignalEvents signals;
    startWorkers();
    startReceiver();
    return conclude(stopReceiver(watch(signals)));
}

void Session::startWorkers() {
    std::vector<client::BatchQueue*> queues{&analyser_.queue()};
    analyser_.start();
    if (recorder_) {
        recorder_->start(facts_.target, facts_.frequency);
        queues.push_back(&recorder_->queue());
    }
    receiver_.start(queues);
}

void Session::requestStop() {
    eventfd_write(stop_.get(), 1);
}

void Session::startReceiver() {
    if (options_.tune)
        client_.setFrequency(*options_.tune);
    client_.setRunning(true);
    begin_ = Clock::now();
    nextSecond_ = begin_ + second;
    nextSpectrum_ = presenter_.wantsSpectra() ? begin_ + betweenSpectra : Clock::time_point::max();
    end_ = Clock::time_point::max();
    if (options_.seconds)
        end_ = begin_ + std::chrono::duration_cast<Clock::duration>(
                            std::chrono::duration<double>(*options_.seconds));
}

Session::End Session::watch(const SignalEvents& signals) {
    std::array<pollfd, 3> waiting{
        {{signals.fd(), POLLIN, 0}, {stop_.get(), POLLIN, 0}, {client_.fd(), POLLIN, 0}}};
    while (!timeIsOver() && presenter_.works()) {
        present();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextEvent() - Clock::now());
        if (poll(waiting.data(), waiting.size(), std::max(0, static_cast<int>(left.count()))) <= 0)
            continue;
        if (waiting[0].revents != 0 || waiting[1].revents != 0)
            break;
        if (waiting[2].revents != 0 && !client_.alive())
            return End::serverGone;
    }
    return End::asked;
}

Session::End Session::stopReceiver(End end) {
    if (end == End::serverGone)
        return end;
    try {
        client_.setRunning(false);
    } catch (const client::Failure& failure) {
        note(std::string(failure.what()) + "; the receiver may be running still");
        return End::serverGone;
    }
    return end;
}

Session::Clock::time_point Session::nextEvent() const {
    return std::min({nextSecond_, nextSpectrum_, end_});
}

bool Session::timeIsOver() const {
    return Clock::now() >= end_;
}

void Session::present() {
    const auto now = Clock::now();
    if (now >= nextSecond_) {
        nextSecond_ += second;
        latest_ = figures(analyser_.takeSecond(), receiver_.figures().currentRate);
        presenter_.second(facts_, latest_);
    }
    if (now >= nextSpectrum_) {
        nextSpectrum_ += betweenSpectra;
        presenter_.spectrum(facts_, latest_, analyser_.takeView().average());
    }
}

Figures Session::figures(const Analyser::Result& result, double measuredRate) {
    Figures figures;
    figures.elapsed = std::chrono::duration<double>(Clock::now() - begin_).count();
    figures.sampleRate = measuredRate;
    figures.reception = receiver_.figures();
    figures.axisRate = options_.rate.value_or(
        client::nearestRate(client::receiverKind(facts_.target), figures.reception.overallRate));
    figures.levels = result.levels;
    figures.carrier = strongestCarrier(result.power.average(), figures.axisRate);
    return figures;
}

ExitStatus Session::conclude(End end) {
    receiver_.stop();
    analyser_.finish();
    Figures total = figures(analyser_.total(), receiver_.figures().overallRate);
    total.unanalysed = analyser_.queue().refusedCount();
    if (recorder_)
        total.recording = recorder_->finish();
    presenter_.summary(facts_, total);
    return judge(end, total);
}

// The gravest outcome decides; each has its line.
ExitStatus Session::judge(End end, const Figures& total) {
    const client::SequenceCounts& counts = total.reception.counts;
    ExitStatus status = ExitStatus::success;
    if (counts.lost != 0) {
        note("lost " + std::to_string(counts.lost) + " datagrams");
        status = ExitStatus::samplesLost;
    }
    if (counts.received == 0) {
        note("no datagrams came; the server sends them to the address in its settings, UDP port " +
             std::to_string(options_.port));
        status = ExitStatus::nothingReceived;
    }
    if (end == End::serverGone) {
        note(facts_.server + " closed the connection while the stream ran");
        status = ExitStatus::connectionLost;
    }
    return outputFailed(total) ? ExitStatus::outputFailed : status;
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
    if (!presenter_.works()) {
        note("cannot write to standard output");
        failed = true;
    }
    return failed;
}

bool Session::writePicture(const Figures& total) {
    const Spectrum spectrum = analyser_.total().power.average();
    if (!plot_ || spectrum.empty())
        return !plot_;
    try {
        plot_->write(facts_, total, spectrum, analyser_.history());
    } catch (const Failure& failure) {
        note(failure.what());
        return false;
    }
    return true;
}

void Session::note(const std::string& line) {
    notes_ << "feedline-probe: " << line << std::endl;
}

} // namespace feedline::probe
