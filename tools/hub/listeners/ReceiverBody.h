// SPDX-License-Identifier: MIT
// What stands behind the Receiver. Private to this room.
#pragma once

#include "tools/hub/listeners/Receiver.h"

#include <list>
#include <mutex>

namespace feedline::hub {

class Receiver::Body : public std::enable_shared_from_this<Receiver::Body> {
public:
    using Seat = std::shared_ptr<Listener::Body>;

    Body(Band& band, const Configuration& configuration);

    Seat join(const ListenerRequest& request);
    void leave(const Seat& seat);
    void run(const Seat& seat, bool running);
    TuneResult tune(const Seat& seat, std::uint32_t hertz);
    ChannelRequest wish(const Seat& seat, const std::function<void(Listener::Body&)>& change);

    void wake(bool newBlocks, bool newSpectrum);
    ReceiverState state() const;
    ReceiverFigures figures() const;
    Wanted wanted() const;
    std::vector<ListenerReport> reports() const;
    void setState(const ReceiverState& state);
    void setFigures(const ReceiverFigures& figures);
    std::shared_ptr<void> subscribe(Receiver::Changed changed);
    void onWanted(std::function<void()> changed);

    bool mayMove(const Seat& seat) const;
    bool covers(std::uint32_t hertz) const;
    std::uint32_t targetFrequency() const;

private:
    void admit(const ListenerRequest& request) const;
    bool mayTune(const Listener::Body& seat) const;
    bool isCovered(std::uint32_t hertz) const;
    bool fits(const Listener::Body& seat) const;
    bool isAlone(const Listener::Body& seat) const;
    std::uint32_t rateOf(const Listener::Body& seat) const;
    static bool follows(const Listener::Body& seat);
    void countListeners();
    void passOn();
    std::uint32_t target() const;
    void want(const Wanted& wanted);
    ListenerReport report(const Listener::Body& seat) const;

    Band& band_;
    const Configuration configuration_;
    mutable std::mutex mutex_; ///< guards everything below
    std::vector<Seat> seats_;  ///< in the order in which they came
    std::list<Receiver::Changed> subscribers_;
    std::function<void()> wantedChanged_;
    std::uint64_t next_ = 1;
    ReceiverState state_;
    ReceiverFigures figures_;
    Wanted wanted_;
};

} // namespace feedline::hub
