// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/BandWatch.h"

#include <boost/asio/post.hpp>
#include <span>

namespace feedline::hub::web {

namespace {

constexpr std::size_t pairsAtOnce = 16384;

} // namespace

BandWatch::BandWatch(boost::asio::io_context& context, Receiver& receiver, Visits& visits)
    : visits_(visits), strand_(boost::asio::make_strand(context)), pairs_(pairsAtOnce) {
    ListenerRequest request;
    request.output = "web";
    request.address = "127.0.0.1";
    request.detail = "waterfall";
    request.channel.wholeBand = true;
    request.tunes = false;
    request.counts = false;
    request.wake = [this] {
        boost::asio::post(strand_, [this] { read(); });
    };
    listener_ = receiver.join(request);
}

std::shared_ptr<void> BandWatch::hold() {
    boost::asio::post(strand_, [this] { count(1); });
    return {this, [weak = weak_from_this()](void*) {
                if (const auto self = weak.lock())
                    boost::asio::post(self->strand_, [watch = self.get()] { watch->count(-1); });
            }};
}

void BandWatch::count(int change) {
    holds_ += change;
    if (listener_->running() != (holds_ > 0))
        listener_->run(holds_ > 0);
}

void BandWatch::read() {
    for (;;) {
        const Reading reading = listener_->read(std::span(pairs_));
        if (reading.pairs == 0)
            return;
        see(reading);
    }
}

void BandWatch::see(const Reading& reading) {
    if (!view_ || rate_ != reading.rate) {
        rate_ = reading.rate;
        view_ = std::make_unique<BandView>(static_cast<int>(rate_));
    }
    if (reading.fresh || reading.lost != 0 || frequency_ != reading.frequency)
        view_->restart();
    frequency_ = reading.frequency;
    if (const auto row = view_->add(std::span(pairs_).first(reading.pairs), frequency_))
        visits_.show({row, reading.arrival});
}

} // namespace feedline::hub::web
