// SPDX-License-Identifier: MIT
#include "tools/soapy/RxStream.h"

#include "stream/DataDatagram.h"
#include "tools/client/Failure.h"
#include "tools/soapy/Log.h"

#include <SoapySDR/Constants.h>
#include <SoapySDR/Errors.h>
#include <algorithm>

namespace feedline::soapy {

namespace {

// Some programs make room for a sixtieth of a second and no more.
constexpr double longestMtuSeconds = 1.0 / 60;
constexpr auto longestMeasurement = std::chrono::seconds(3);

// What has piled up in a server comes at once. It is withheld for this long, to see.
constexpr std::int64_t watchLength = 20'000'000; // ns
constexpr std::size_t burst = 300;               // datagrams that may come at once

std::size_t mtuFor(double rate) {
    const auto most = static_cast<std::size_t>(std::max(1.0, rate * longestMtuSeconds));
    return most < datagram::pairs
               ? most
               : std::min(SampleQueue::longestPiece, most / datagram::pairs * datagram::pairs);
}

SampleQueue::Clock::time_point endOf(long timeout) {
    return SampleQueue::Clock::now() + std::chrono::microseconds(std::max(timeout, 0L));
}

} // namespace

RxStream::RxStream(ServerLink& link, const Arguments& arguments)
    : link_(link), arguments_(arguments), mtu_(mtuFor(768000)), times_(768000),
      timesBeforeHold_(768000) {
    queue_.setGiveUp(std::chrono::duration_cast<SampleQueue::Clock::duration>(arguments.giveUp));
}

RxStream::~RxStream() {
    end();
}

bool RxStream::open(const std::string& format) {
    if (isOpen_) {
        log(SOAPY_SDR_ERROR, "the device has one stream, and that is open already");
        return false;
    }
    const auto known = formatNamed(format);
    if (!known) {
        log(SOAPY_SDR_ERROR, "there is no stream format " + format + "; CS16, CF32 and CS8 are");
        return false;
    }
    format_ = *known;
    mtu_ = mtuFor(link_.rate());
    isOpen_ = true;
    return true;
}

void RxStream::close() {
    deactivate();
    isOpen_ = false;
}

int RxStream::activate() {
    if (active_)
        return 0;
    if (!link_.reach(true))
        return SOAPY_SDR_STREAM_ERROR;
    if (!begin(!link_.rateIsTold()))
        return SOAPY_SDR_STREAM_ERROR;
    active_ = true;
    if (!link_.setRunning(true)) {
        deactivate();
        return SOAPY_SDR_STREAM_ERROR;
    }
    awaitRate();
    return 0;
}

int RxStream::deactivate() {
    if (!active_)
        return 0;
    active_ = false;
    link_.setRunning(false);
    end();
    return 0;
}

bool RxStream::begin(bool measure) {
    const auto facts = link_.facts();
    {
        const std::lock_guard lock(mutex_);
        finder_.reset();
        if (measure)
            finder_.emplace(link_.kind());
        measuringFirst_ = measure;
        times_ = StreamTimes(link_.rate());
        hasBacklog_ = !facts || !facts->isHub();
        watching_ = hasBacklog_;
        watched_ = 0;
    }
    queue_.open();
    return startReceiver();
}

// A hub sends to the address that the connection comes from, so that several programs can share a
// port's number; a server sends to the one in its settings.
bool RxStream::startReceiver() {
    const auto facts = link_.facts();
    const std::string address =
        facts && facts->isHub() ? facts->localAddress : arguments_.datagramAddress();
    try {
        client::DatagramSocket socket(address, arguments_.endpoint.port, arguments_.buffer);
        client::StreamSink& sink = *this;
        receiver_ = std::make_unique<client::StreamReceiver>(std::move(socket), sink);
        return true;
    } catch (const std::exception& failure) {
        log(SOAPY_SDR_ERROR, failure.what());
        queue_.close();
        return false;
    }
}

void RxStream::end() {
    queue_.close();
    receiver_.reset();
}

// Where nothing can be measured in time, the stream goes on at the usual rate and is corrected
// later.
void RxStream::awaitRate() {
    std::unique_lock lock(mutex_);
    if (rateFound_.wait_for(lock, longestMeasurement, [this] { return !measuringFirst_; }))
        return;
    measuringFirst_ = false;
    lock.unlock();
    log(SOAPY_SDR_WARNING, receiver_->received() != 0
                               ? "the sample rate could not be measured yet"
                               : "no datagrams have come to UDP port " +
                                     std::to_string(arguments_.endpoint.port) +
                                     "; a server sends them to the address in its settings");
}

int RxStream::read(void* to, std::size_t count, int& flags, long long& nanoseconds, long timeout) {
    flags = 0;
    if (count == 0)
        return 0;
    const auto piece = queue_.acquire(std::min(count, mtu_), endOf(timeout));
    if (piece.outcome == SampleQueue::Outcome::samples) {
        convert(format_, piece.samples, to);
        queue_.release(piece.handle);
    }
    return outcome(piece, flags, nanoseconds);
}

int RxStream::acquire(std::size_t& handle, const void** samples, int& flags, long long& nanoseconds,
                      long timeout) {
    const auto piece = queue_.acquire(mtu_, endOf(timeout));
    handle = piece.handle;
    samples[0] = piece.samples.data();
    return outcome(piece, flags, nanoseconds);
}

int RxStream::outcome(const SampleQueue::Piece& piece, int& flags, long long& nanoseconds) const {
    flags = 0;
    switch (piece.outcome) {
    case SampleQueue::Outcome::timeOut:
        return SOAPY_SDR_TIMEOUT;
    case SampleQueue::Outcome::gaveUp:
        return SOAPY_SDR_NOT_SUPPORTED;
    case SampleQueue::Outcome::lost:
    case SampleQueue::Outcome::samples:
        break;
    }
    flags = SOAPY_SDR_HAS_TIME;
    nanoseconds = piece.nanoseconds;
    return piece.outcome == SampleQueue::Outcome::lost ? SOAPY_SDR_OVERFLOW
                                                       : static_cast<int>(piece.samples.size() / 2);
}

RxStream::Figures RxStream::figures() {
    const std::lock_guard lock(mutex_);
    return {lost_, recent_.lastSecond(),
            (queue_.dropped() + datagram::pairs - 1) / datagram::pairs};
}

void RxStream::reconnected() {
    const auto facts = link_.facts();
    if (link_.rateIsTold() || !facts)
        return;
    const std::lock_guard lock(mutex_);
    finder_.emplace(client::receiverKind(facts->name));
}

void RxStream::samples(std::int64_t position, std::int64_t nanoseconds,
                       std::span<const std::int16_t> samples) {
    link_.noteSamples();
    const std::size_t datagrams = samples.size() / datagram::entries;
    const std::lock_guard lock(mutex_);
    findRate(position, nanoseconds);
    if (measuringFirst_)
        return;
    watchBacklog(nanoseconds, datagrams);
    const StreamTimes::Stamp stamp =
        times_.stamp(position, static_cast<std::int64_t>(datagrams), nanoseconds);
    const std::size_t dropped =
        queue_.write(samples, stamp.nanoseconds, times_.period(), stamp.broken);
    if (dropped != 0)
        recent_.add((dropped + datagram::pairs - 1) / datagram::pairs);
}

void RxStream::gap(std::int64_t from, std::int64_t to) {
    const auto count = static_cast<std::uint64_t>(to - from);
    recent_.add(count);
    const std::lock_guard lock(mutex_);
    lost_ += count;
}

void RxStream::restart(std::int64_t /*position*/) {
    const std::lock_guard lock(mutex_);
    times_.restart();
    watching_ = hasBacklog_;
    watched_ = 0;
}

void RxStream::findRate(std::int64_t position, std::int64_t nanoseconds) {
    if (!finder_)
        return;
    const auto rate = finder_->add(position, nanoseconds);
    if (!rate)
        return;
    link_.setMeasuredRate(*rate);
    times_.setRate(*rate);
    measuringFirst_ = false;
    rateFound_.notify_all();
}

// A server that has been without a client sends first what its receiver has delivered meanwhile, as
// fast as the network takes it. Nobody wants to hear that late.
void RxStream::watchBacklog(std::int64_t nanoseconds, std::size_t datagrams) {
    if (!watching_)
        return;
    if (watched_ != 0 && nanoseconds - watchSince_ > watchLength) {
        watching_ = false;
        return;
    }
    const double due = static_cast<double>(watchLength) / times_.period() / datagram::pairs;
    const bool backlog = watched_ + datagrams > 4 * due + burst;
    if (backlog) {
        queue_.discardHeld();
        times_ = timesBeforeHold_;
        watched_ = 0;
    }
    if (watched_ == 0) {
        timesBeforeHold_ = times_;
        watchSince_ = nanoseconds;
        queue_.holdUntil(SampleQueue::Clock::now() + std::chrono::nanoseconds(watchLength));
    }
    watched_ += datagrams;
}

} // namespace feedline::soapy
