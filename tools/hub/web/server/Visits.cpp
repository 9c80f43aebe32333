// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/Visits.h"

#include <boost/asio/post.hpp>
#include <chrono>

namespace feedline::hub::web {

Visits::Visits(boost::asio::io_context& context, Receiver& receiver, Tuning tuning, GainsNow gains)
    : receiver_(receiver), tuning_(tuning), gains_(std::move(gains)),
      strand_(boost::asio::make_strand(context)), second_(strand_),
      subscription_(receiver.subscribe([this](const ReceiverState&) { tellSoon(); })) {
    boost::asio::post(strand_, [this] { tellEverySecond(); });
}

void Visits::add(const boost::asio::any_io_executor& executor,
                 const std::weak_ptr<Visitor>& visitor) {
    const std::lock_guard lock(mutex_);
    known_.push_back({executor, visitor});
}

// A visitor is never held here: the last hold on it must be let go by its own executor.
void Visits::each(const Telling& telling) {
    const std::lock_guard lock(mutex_);
    known_.remove_if([](const Known& known) { return known.visitor.expired(); });
    for (const Known& known : known_)
        boost::asio::post(known.executor, [visitor = known.visitor, telling] {
            if (const auto there = visitor.lock())
                telling(*there);
        });
}

void Visits::show(const TimedRow& row) {
    each([row](Visitor& visitor) { visitor.show(row); });
}

void Visits::tellSoon() {
    boost::asio::post(strand_, [this] { tell(); });
}

void Visits::tell() {
    const auto overview = std::make_shared<const Overview>(
        Overview{receiver_.state(), receiver_.figures(), receiver_.listeners(), tuning_, gains_()});
    each([overview](Visitor& visitor) { visitor.tell(overview); });
}

void Visits::tellEverySecond() {
    tell();
    second_.expires_after(std::chrono::seconds(1));
    second_.async_wait([this](const boost::system::error_code& error) {
        if (!error)
            tellEverySecond();
    });
}

} // namespace feedline::hub::web
