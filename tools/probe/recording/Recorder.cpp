// SPDX-License-Identifier: MIT
#include "tools/probe/recording/Recorder.h"

#include "tools/client/Receivers.h"
#include "tools/probe/ExitStatus.h"

#include <algorithm>

namespace feedline::probe {

Recorder::Recorder(const std::string& name, bool force, std::optional<double> rate,
                   std::function<void()> onFailure, std::size_t queueLimit)
    : queue_(queueLimit), recording_(Recording::create(name, force)), rate_(rate),
      onFailure_(std::move(onFailure)),
      assembler_({[this](const client::ReceivedDatagram& datagram) { writeDatagram(datagram); },
                  [this](std::int64_t from, std::int64_t to) {
                      writeGap(from, to);
                  }}) {}

Recorder::~Recorder() {
    queue_.close();
    if (thread_.joinable())
        thread_.join();
    else if (!begun_)
        recording_->discard();
}

void Recorder::start(const std::string& target, std::optional<std::uint32_t> frequency) {
    facts_.target = target;
    facts_.frequency = frequency;
    thread_ = std::thread([this] { run(); });
}

RecordingOutcome Recorder::finish() {
    if (thread_.joinable())
        thread_.join();
    outcome_.slowPairs = queue_.refusedCount() * datagram::pairs;
    return outcome_;
}

void Recorder::run() {
    while (client::BatchPointer batch = queue_.pop())
        if (!outcome_.failure)
            take(std::move(batch));
    guarded([this] {
        writeWaiting();
        assembler_.finish();
    });
    if (!begun_)
        recording_->discard();
    else
        guarded([this] { recording_->finish(); });
}

void Recorder::take(client::BatchPointer batch) {
    if (!begun_)
        for (const client::ReceivedDatagram& datagram : *batch)
            meter_.add(datagram.verdict.position, datagram.nanoseconds);
    waiting_.push_back(std::move(batch));
    if (begun_ || rateKnown())
        guarded([this] { writeWaiting(); });
}

// A backlog, sent in one burst when the stream starts, would spoil the first second's measurement.
bool Recorder::rateKnown() const {
    return rate_ || meter_.windows() >= 2;
}

double Recorder::rate() const {
    return rate_.value_or(
        client::nearestRate(client::receiverKind(facts_.target), meter_.current()));
}

void Recorder::begin() {
    facts_.start = waiting_.front()->front().nanoseconds;
    facts_.sampleRate = std::max(rate(), 1.0);
    begun_ = true;
    recording_->begin(facts_);
}

void Recorder::writeWaiting() {
    if (waiting_.empty())
        return;
    if (!begun_)
        begin();
    for (const client::BatchPointer& batch : waiting_)
        for (const client::ReceivedDatagram& datagram : *batch)
            assembler_.add(datagram);
    waiting_.clear();
}

// The first failure ends the writing; what can still be done is to complete the file.
void Recorder::guarded(const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        if (outcome_.failure)
            return;
        outcome_.failure = failure.what();
        waiting_.clear();
        onFailure_();
    }
}

void Recorder::writeDatagram(const client::ReceivedDatagram& datagram) {
    if (outcome_.failure)
        return;
    recording_->write(datagram.samples);
    outcome_.pairs += datagram::pairs;
}

void Recorder::writeGap(std::int64_t from, std::int64_t to) {
    if (outcome_.failure)
        return;
    static constexpr std::array<std::int16_t, datagram::entries> zeros{};
    const auto pairs = static_cast<std::uint64_t>(to - from) * datagram::pairs;
    const bool slow = queue_.refused(from, to);
    outcome_.lostPairs += slow ? 0 : pairs;
    recording_->annotate(outcome_.pairs, pairs,
                         slow ? "not recorded: disk too slow" : "datagrams lost");
    for (std::int64_t at = from; at != to; ++at) {
        recording_->write(zeros);
        outcome_.pairs += datagram::pairs;
    }
}

} // namespace feedline::probe
