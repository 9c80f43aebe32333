// SPDX-License-Identifier: MIT
#include "tools/hub/listeners/Receiver.h"

#include "tools/hub/band/Rates.h"
#include "tools/hub/listeners/ListenerBody.h"
#include "tools/hub/listeners/ReceiverBody.h"

#include <algorithm>
#include <utility>

namespace feedline::hub {

Receiver::Body::Body(Band& band, const Configuration& configuration)
    : band_(band), configuration_(configuration) {
    wanted_.frequency = configuration.frequency.value_or(0);
}

Receiver::Body::Seat Receiver::Body::join(const ListenerRequest& request) {
    const std::lock_guard lock(mutex_);
    if (request.counts)
        admit(request);
    auto seat = std::make_shared<Listener::Body>(band_, request, next_++);
    seat->receiver = shared_from_this();
    seats_.push_back(seat);
    return seat;
}

void Receiver::Body::admit(const ListenerRequest& request) const {
    const auto counted = [](const Seat& seat) {
        return seat->request.counts;
    };
    const auto same = [&](const Seat& seat) {
        return counted(seat) && seat->request.address == request.address;
    };
    const auto has = [&](const auto& which, unsigned most) {
        return std::cmp_greater_equal(std::count_if(seats_.begin(), seats_.end(), which), most);
    };
    if (has(counted, configuration_.listeners))
        throw Refused("there are " + std::to_string(configuration_.listeners) +
                      " listeners already");
    if (has(same, configuration_.perAddress))
        throw Refused("there are " + std::to_string(configuration_.perAddress) +
                      " listeners from " + request.address + " already");
}

void Receiver::Body::leave(const Seat& seat) {
    const std::lock_guard lock(mutex_);
    std::erase(seats_, seat);
    countListeners();
    passOn();
}

void Receiver::Body::run(const Seat& seat, bool running) {
    const std::lock_guard lock(mutex_);
    seat->running = running;
    countListeners();
}

void Receiver::Body::countListeners() {
    const bool listening =
        std::any_of(seats_.begin(), seats_.end(), [](const Seat& each) { return each->running; });
    want({listening, wanted_.frequency});
}

void Receiver::Body::want(const Wanted& wanted) {
    if (wanted == wanted_)
        return;
    wanted_ = wanted;
    if (wantedChanged_)
        wantedChanged_();
}

// Where the receiver is, or is going to be.
std::uint32_t Receiver::Body::target() const {
    return wanted_.frequency != 0 ? wanted_.frequency : state_.frequency;
}

bool Receiver::Body::isCovered(std::uint32_t hertz) const {
    const std::int64_t away = std::int64_t{hertz} - std::int64_t{target()};
    return target() != 0 && 2 * std::abs(away) <= std::int64_t{state_.rate};
}

bool Receiver::Body::mayMove(const Seat& seat) const {
    const std::lock_guard lock(mutex_);
    return mayTune(*seat);
}

bool Receiver::Body::covers(std::uint32_t hertz) const {
    const std::lock_guard lock(mutex_);
    return isCovered(hertz);
}

std::uint32_t Receiver::Body::targetFrequency() const {
    const std::lock_guard lock(mutex_);
    return target();
}

bool Receiver::Body::mayTune(const Listener::Body& seat) const {
    if (!seat.request.tunes || configuration_.tuning == Tuning::locked)
        return false;
    if (configuration_.tuning == Tuning::any)
        return true;
    const auto first = std::find_if(seats_.begin(), seats_.end(),
                                    [](const Seat& each) { return each->request.tunes; });
    return first != seats_.end() && first->get() == &seat;
}

// Inside the band nothing is moved: everybody else would lose by it. Whoever listens alone takes
// nothing from anybody, so he gets a band that has all of his channel.
TuneResult Receiver::Body::tune(const Seat& seat, std::uint32_t hertz) {
    const std::lock_guard lock(mutex_);
    seat->wantedFrequency = hertz;
    seat->wholeBand = false;
    const bool may = mayTune(*seat);
    const bool inside = isCovered(hertz);
    TuneResult result{.frequency = hertz, .moved = false, .covered = inside, .why = {}};
    if (may && (!inside || (isAlone(*seat) && !fits(*seat)))) {
        result.moved = hertz != target();
        result.covered = true;
        want({wanted_.listening, hertz});
    } else if (!inside) {
        result.why = configuration_.tuning == Tuning::locked ? "the receiver is locked"
                     : seat->request.tunes ? "somebody else came first and tunes the receiver"
                                           : "this listener does not tune";
    }
    return result;
}

// Whether the band has the flat part of the channel, four fifths of its width; a channel as wide as
// the band wants all of it.
bool Receiver::Body::fits(const Listener::Body& seat) const {
    const std::uint32_t rate = rateOf(seat);
    const std::int64_t away = std::abs(std::int64_t{seat.wantedFrequency} - std::int64_t{target()});
    return rate >= state_.rate
               ? away == 0
               : 10 * away + 4 * std::int64_t{rate} <= 5 * std::int64_t{state_.rate};
}

bool Receiver::Body::isAlone(const Listener::Body& seat) const {
    return std::none_of(seats_.begin(), seats_.end(),
                        [&](const Seat& each) { return each->running && each.get() != &seat; });
}

std::uint32_t Receiver::Body::rateOf(const Listener::Body& seat) const {
    return seat.wholeBand || seat.wantedRate == 0 ? state_.rate
                                                  : channelRate(seat.wantedRate, state_.rate);
}

// Whose turn it is to tune may have been waiting for it.
void Receiver::Body::passOn() {
    if (configuration_.tuning != Tuning::first)
        return;
    for (const Seat& seat : seats_)
        if (seat->running && !follows(*seat) && mayTune(*seat) && !isCovered(seat->wantedFrequency))
            want({wanted_.listening, seat->wantedFrequency});
}

bool Receiver::Body::follows(const Listener::Body& seat) {
    return seat.wholeBand || seat.wantedFrequency == 0;
}

ChannelRequest Receiver::Body::wish(const Seat& seat,
                                    const std::function<void(Listener::Body&)>& change) {
    const std::lock_guard lock(mutex_);
    change(*seat);
    return {seat->wholeBand, seat->wantedFrequency, seat->wantedRate};
}

void Receiver::Body::wake(bool newBlocks, bool newSpectrum) {
    const std::lock_guard lock(mutex_);
    for (const Seat& seat : seats_)
        if (seat->running && seat->request.wake && seat->channel.waitsFor(newBlocks, newSpectrum) &&
            !seat->woken.exchange(true))
            seat->request.wake();
}

ReceiverState Receiver::Body::state() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

ReceiverFigures Receiver::Body::figures() const {
    const std::lock_guard lock(mutex_);
    return figures_;
}

Wanted Receiver::Body::wanted() const {
    const std::lock_guard lock(mutex_);
    return wanted_;
}

std::vector<ListenerReport> Receiver::Body::reports() const {
    const std::lock_guard lock(mutex_);
    std::vector<ListenerReport> reports;
    for (const Seat& seat : seats_)
        reports.push_back(report(*seat));
    return reports;
}

ListenerReport Receiver::Body::report(const Listener::Body& seat) const {
    ListenerReport report;
    report.number = seat.number;
    report.output = seat.request.output;
    report.address = seat.request.address;
    report.detail = seat.detail;
    report.running = seat.running;
    report.counts = seat.request.counts;
    report.mayTune = mayTune(seat);
    report.frequency = follows(seat) ? state_.frequency : seat.wantedFrequency;
    report.rate = rateOf(seat);
    report.exact = report.frequency == state_.frequency && report.rate == state_.rate;
    report.covered = follows(seat) || isCovered(report.frequency);
    report.seconds = std::chrono::duration<double>(Clock::now() - seat.joined).count();
    report.sentPairs = seat.sentPairs;
    report.sentBytes = seat.sentBytes;
    report.lostUpstream = seat.lostUpstream;
    report.lostSlow = seat.lostSlow;
    report.dropped = seat.dropped;
    return report;
}

void Receiver::Body::setState(const ReceiverState& state) {
    const std::lock_guard lock(mutex_);
    if (state == state_)
        return;
    state_ = state;
    for (const Receiver::Changed& changed : subscribers_)
        changed(state_);
}

void Receiver::Body::setFigures(const ReceiverFigures& figures) {
    const std::lock_guard lock(mutex_);
    figures_ = figures;
}

std::shared_ptr<void> Receiver::Body::subscribe(Receiver::Changed changed) {
    const std::lock_guard lock(mutex_);
    const auto entry = subscribers_.insert(subscribers_.end(), std::move(changed));
    const auto end = [self = shared_from_this(), entry](void*) {
        const std::lock_guard endLock(self->mutex_);
        self->subscribers_.erase(entry);
    };
    return {static_cast<void*>(this), end};
}

void Receiver::Body::onWanted(std::function<void()> changed) {
    const std::lock_guard lock(mutex_);
    wantedChanged_ = std::move(changed);
}

Receiver::Receiver(Band& band, const Configuration& configuration)
    : body_(std::make_shared<Body>(band, configuration)) {
    band.onWritten(
        [this](bool newBlocks, bool newSpectrum) { body_->wake(newBlocks, newSpectrum); });
}
Receiver::~Receiver() = default;

std::unique_ptr<Listener> Receiver::join(const ListenerRequest& request) {
    return std::make_unique<Listener>(body_->join(request));
}

ReceiverState Receiver::state() const {
    return body_->state();
}

ReceiverFigures Receiver::figures() const {
    return body_->figures();
}

std::vector<ListenerReport> Receiver::listeners() const {
    return body_->reports();
}

Subscription Receiver::subscribe(Changed changed) {
    return Subscription(body_->subscribe(std::move(changed)));
}

Wanted Receiver::wanted() const {
    return body_->wanted();
}

void Receiver::onWanted(std::function<void()> changed) {
    body_->onWanted(std::move(changed));
}

void Receiver::setState(const ReceiverState& state) {
    body_->setState(state);
}

void Receiver::setFigures(const ReceiverFigures& figures) {
    body_->setFigures(figures);
}

} // namespace feedline::hub
