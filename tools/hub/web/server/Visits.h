// SPDX-License-Identifier: MIT
// All pages that are there.
#pragma once

#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/web/messages/Words.h"
#include "tools/hub/web/view/LevelRow.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

namespace feedline::hub::web {

/// A row and when the newest sample in it came to the hub.
struct TimedRow {
    std::shared_ptr<const LevelRow> row;
    Clock::time_point arrival;
};

/// What a page is told, from here, each on its own executor.
class Visitor {
public:
    virtual ~Visitor() = default;
    virtual void show(const TimedRow& row) = 0;
    /// Once a second, and with every change of the receiver.
    virtual void tell(const std::shared_ptr<const Overview>& overview) = 0;
};

/// Any thread. A visitor that has gone is forgotten with the next message.
class Visits {
public:
    using GainsNow = std::function<std::optional<gains::Values>()>;

    /// @param gains  how they stand; called on the context's threads
    Visits(boost::asio::io_context& context, Receiver& receiver, Tuning tuning, GainsNow gains);

    void add(const boost::asio::any_io_executor& executor, const std::weak_ptr<Visitor>& visitor);
    void show(const TimedRow& row);
    /// Makes the overview anew and hands it to everybody, soon.
    void tellSoon();

private:
    using Telling = std::function<void(Visitor&)>;
    void each(const Telling& telling);
    void tell();
    void tellEverySecond();

    struct Known {
        boost::asio::any_io_executor executor;
        std::weak_ptr<Visitor> visitor;
    };
    Receiver& receiver_;
    const Tuning tuning_;
    const GainsNow gains_;
    std::mutex mutex_; ///< guards known_
    std::list<Known> known_;
    boost::asio::strand<boost::asio::io_context::executor_type> strand_;
    boost::asio::steady_timer second_;
    Subscription subscription_;
};

} // namespace feedline::hub::web
