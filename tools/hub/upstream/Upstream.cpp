// SPDX-License-Identifier: MIT
#include "tools/hub/upstream/Upstream.h"

#include "stream/DataDatagram.h"
#include "tools/client/Failure.h"
#include "tools/hub/band/Rates.h"
#include "tools/hub/log/Log.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

namespace feedline::hub {

namespace {

using client::Failure;
using client::Trouble;

constexpr client::Seconds answerLimit{3};
constexpr client::Seconds stopLimit{0.8};
constexpr std::chrono::milliseconds pauseBetweenTries{250};
constexpr int roundLength = 100; // ms
constexpr std::chrono::milliseconds figuresEvery{500};

// A server says of no frequency that it is in force, so the hub sets one before anybody has asked.
constexpr std::uint32_t firstFrequencyHf = 7'100'000;       // Hz
constexpr std::uint32_t firstFrequencyAirspy = 100'000'000; // Hz

std::uint32_t firstFrequency(const std::string& name) {
    return name.ends_with("HF+") ? firstFrequencyHf : firstFrequencyAirspy;
}

// Where the server's datagrams can come from.
std::string receivingAddress(const std::string& server) {
    return server == "localhost" || server.starts_with("127.") ? "127.0.0.1" : "0.0.0.0";
}

std::string seconds(Clock::duration length) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f s",
                  std::chrono::duration<double>(length).count());
    return text.data();
}

bool sameRate(double measured, std::uint32_t rate) {
    return std::abs(measured - rate) <= 0.01 * rate;
}

} // namespace

Upstream::Upstream(Band& band, Receiver& receiver, const Configuration& configuration)
    : band_(band), receiver_(receiver), configuration_(configuration),
      server_(configuration.serverHost + ":" + std::to_string(configuration.serverPort)),
      news_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), end_(eventfd(0, EFD_CLOEXEC)), intake_(band),
      datagrams_(client::DatagramSocket(receivingAddress(configuration.serverHost),
                                        configuration.serverPort),
                 intake_) {
    if (configuration.rate) {
        state_.rate = receivedRate(*configuration.rate);
        band_.setRate(state_.rate);
    }
    receiver_.onWanted([this] { eventfd_write(news_.get(), 1); });
    thread_ = std::thread([this] {
        pthread_setname_np(pthread_self(), "hub-upstream");
        run();
    });
}

Upstream::~Upstream() {
    ending_ = true;
    eventfd_write(end_.get(), 1);
    eventfd_write(news_.get(), 1);
    thread_.join();
    receiver_.onWanted({});
}

void Upstream::run() {
    while (!ending_) {
        try {
            serve();
        } catch (const Failure& failure) {
            if (ending_)
                break;
            lose(failure.what());
            waitForNews(pauseBetweenTries.count());
        }
    }
    if (client_ && state_.running)
        client_->stopAndLeave(stopLimit);
}

void Upstream::serve() {
    client_.emplace(client::Endpoint{.host = configuration_.serverHost,
                                     .port = configuration_.serverPort,
                                     .bind = {}},
                    client::TimeLimits{.timeout = answerLimit, .cancel = end_.get()});
    greet();
    while (!ending_)
        round();
}

void Upstream::greet() {
    state_.name = client_->targetName();
    state_.serial = client_->serialNumber();
    state_.running = client_->status() == client::statusRunning;
    askRate();
    state_.connected = true;
    if (greeted_)
        ++figures_.reconnections;
    greeted_ = true;
    lastTrouble_.clear();
    rateSought_ = true;
    const std::uint32_t wanted = receiver_.wanted().frequency;
    tune(wanted != 0             ? wanted
         : state_.frequency != 0 ? state_.frequency
                                 : firstFrequency(state_.name));
    log("connected to " + state_.name + " at " + server_);
    if (state_.running)
        expectStream();
}

// Another hub tells its rate; a server's is measured.
void Upstream::askRate() {
    const std::optional<std::uint32_t> told = client_->sampleRate();
    if (!told || *told == 0 || configuration_.rate)
        return;
    state_.rate = receivedRate(*told);
    band_.setRate(state_.rate);
}

void Upstream::round() {
    const Wanted wanted = receiver_.wanted();
    if (wanted.frequency != 0 && wanted.frequency != state_.frequency)
        tune(wanted.frequency);
    const bool run = shouldRun(wanted);
    if (run != state_.running)
        run ? start() : stop();
    takeRate();
    watchSilence(wanted.listening);
    noteRecovery();
    command_.reap();
    publish();
    waitForNews(roundLength);
    if (!client_->alive())
        throw Failure(Trouble::noAnswer, server_ + " closed the connection");
}

bool Upstream::shouldRun(const Wanted& wanted) {
    const auto now = Clock::now();
    if (wanted.listening) {
        runUntil_ = now + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(configuration_.linger));
        return true;
    }
    return measuring() || now < runUntil_;
}

// Everybody's rates depend on the received one, so it is found out before the first one comes.
bool Upstream::measuring() const {
    return state_.rate == 0 && rateSought_;
}

void Upstream::tune(std::uint32_t hertz) {
    client_->setFrequency(hertz);
    band_.setFrequency(hertz);
    state_.frequency = hertz;
    receiver_.setState(state_);
}

void Upstream::start() {
    expectStream();
    state_.running = true; // From the question on: an end that comes before the answer stops it.
    client_->setRunning(true);
}

void Upstream::expectStream() {
    intake_.expectRun(client::receiverKind(state_.name));
    silence_.expect(Clock::now());
}

void Upstream::stop() {
    client_->setRunning(false);
    silence_.rest();
    state_.running = state_.silent = false;
}

void Upstream::takeRate() {
    const double measured = intake_.measuredRate();
    if (measured == 0)
        return;
    figures_.measuredRate = measured;
    if (configuration_.rate || sameRate(measured, state_.rate))
        return;
    state_.rate = receivedRate(measured);
    band_.setRate(state_.rate);
    log("receiving " + std::to_string(state_.rate) + " IQ pairs a second");
}

void Upstream::watchSilence(bool listening) {
    switch (silence_.look(Clock::now(), intake_.lastArrival())) {
    case SilenceWatch::Step::none:
        break;
    case SilenceWatch::Step::began:
        log("no samples come from " + server_);
        ++figures_.silences;
        state_.silent = true;
        rateSought_ = listening;
        break;
    case SilenceWatch::Step::stopAndRun:
        log("telling " + server_ + " to stop and to run");
        client_->setRunning(false);
        intake_.expectRun(client::receiverKind(state_.name));
        client_->setRunning(true);
        break;
    case SilenceWatch::Step::command:
        if (listening && !configuration_.onSilence.empty())
            command_.start(configuration_.onSilence);
        break;
    case SilenceWatch::Step::ended:
        log("samples again after " + seconds(silence_.length()));
        state_.silent = false;
        noteGap(silence_.length());
        break;
    }
}

void Upstream::noteGap(Clock::duration length) {
    const double seconds = std::chrono::duration<double>(length).count();
    figures_.lastSilence = seconds;
    figures_.longestSilence = std::max(figures_.longestSilence, seconds);
}

// The gap that a loss of the connection has made.
void Upstream::noteRecovery() {
    if (!heardBeforeLoss_ || intake_.lastArrival() <= lostAt_)
        return;
    const auto gap = intake_.lastArrival() - *heardBeforeLoss_;
    heardBeforeLoss_.reset();
    log("samples again after " + seconds(gap));
    noteGap(gap);
}

void Upstream::lose(const std::string& why) {
    if (why != lastTrouble_)
        log(why + (state_.connected ? "; the connection is lost" : "; trying on"));
    lastTrouble_ = why;
    if (state_.running && !heardBeforeLoss_) {
        heardBeforeLoss_ = intake_.lastArrival();
        lostAt_ = Clock::now();
    }
    client_.reset();
    silence_.rest();
    state_.connected = state_.running = state_.silent = false;
    publish();
}

void Upstream::publish() {
    receiver_.setState(state_);
    if (Clock::now() < figuresDue_)
        return;
    figuresDue_ = Clock::now() + figuresEvery;
    const client::ReceptionFigures reception = datagrams_.figures();
    figures_.received = intake_.pairs();
    figures_.lostInHub =
        std::min<std::uint64_t>(reception.overflowed * datagram::pairs, intake_.lostPairs());
    figures_.lostOnNetwork = intake_.lostPairs() - figures_.lostInHub;
    figures_.overflowed = reception.overflowed;
    receiver_.setFigures(figures_);
}

void Upstream::waitForNews(int milliseconds) const {
    std::array<pollfd, 2> waiting{{{news_.get(), POLLIN, 0}, {-1, POLLIN, 0}}};
    if (client_)
        waiting[1].fd = client_->fd();
    poll(waiting.data(), waiting.size(), milliseconds);
    eventfd_t count = 0;
    eventfd_read(news_.get(), &count);
}

} // namespace feedline::hub
