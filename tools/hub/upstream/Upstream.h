// SPDX-License-Identifier: MIT
// The hub's end of the server: its one client.
//
// A thread of its own speaks with the server, and brings it to what the listeners want: connected
// for as long as the hub lives, running while anybody listens and a while after, on the frequency
// that the tuning rule has decided. After a loss of the connection everything is set again as it
// was.
#pragma once

#include "tools/client/ControlClient.h"
#include "tools/client/StreamReceiver.h"
#include "tools/client/UniqueFd.h"
#include "tools/hub/listeners/Receiver.h"
#include "tools/hub/upstream/Command.h"
#include "tools/hub/upstream/Intake.h"
#include "tools/hub/upstream/SilenceWatch.h"

#include <atomic>
#include <optional>
#include <string>
#include <thread>

namespace feedline::hub {

class Upstream {
public:
    /// Binds the port for the datagrams; throws client::Failure. Then begins.
    Upstream(Band& band, Receiver& receiver, const Configuration& configuration);
    /// Stops the receiver and ends the threads, within a second.
    ~Upstream();
    Upstream(const Upstream&) = delete;
    Upstream& operator=(const Upstream&) = delete;

private:
    void run();
    void serve();
    void greet();
    void askRate();
    void round();
    bool shouldRun(const Wanted& wanted);
    bool measuring() const;
    void tune(std::uint32_t hertz);
    void start();
    void expectStream();
    void stop();
    void takeRate();
    void watchSilence(bool listening);
    void noteGap(Clock::duration length);
    void noteRecovery();
    void lose(const std::string& why);
    void publish();
    void waitForNews(int milliseconds) const;

    Band& band_;
    Receiver& receiver_;
    const Configuration configuration_;
    const std::string server_; ///< as the user knows it
    client::UniqueFd news_;    ///< readable when something is wanted
    client::UniqueFd end_;     ///< readable from the end on
    Intake intake_;
    client::StreamReceiver datagrams_;
    std::atomic<bool> ending_{false};
    std::optional<client::ControlClient> client_; ///< of the thread below, like the rest
    ReceiverState state_;
    ReceiverFigures figures_;
    std::string lastTrouble_; ///< so that the log has it once, however often it is tried again
    bool greeted_ = false;
    bool rateSought_ = false; ///< an unknown rate is worth a run of its own
    Clock::time_point runUntil_;
    Clock::time_point figuresDue_;
    std::optional<Clock::time_point>
        heardBeforeLoss_; ///< of a connection, until samples come again
    Clock::time_point lostAt_;
    Command command_;
    SilenceWatch silence_;
    std::thread thread_;
};

} // namespace feedline::hub
