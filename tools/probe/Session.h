// SPDX-License-Identifier: MIT
// One run of the receiver, from the connection to the summary.
#pragma once

#include "tools/client/ControlClient.h"
#include "tools/client/DatagramReceiver.h"
#include "tools/probe/ExitStatus.h"
#include "tools/probe/Options.h"
#include "tools/probe/analysis/Analyser.h"
#include "tools/probe/output/Figures.h"
#include "tools/probe/output/PlotOutput.h"
#include "tools/probe/recording/Recorder.h"

#include <chrono>
#include <memory>
#include <ostream>

namespace feedline::probe {

class SignalEvents;

/// Binds the UDP port before it connects, so that not even the first datagram is missed, and stops
/// the receiver on every way out that leaves a connection to do so.
class Session {
public:
    /// Connects; throws Failure. Remarks go to `notes`, one line each.
    Session(const Options& options, Presenter& presenter, std::ostream& notes);

    /// Runs until the time is over, SIGINT or SIGTERM comes, requestStop() is called or the server
    /// goes away; throws Failure.
    ExitStatus run();

    /// Any thread.
    void requestStop();
    client::ReceptionFigures reception() const { return receiver_.figures(); }

private:
    using Clock = std::chrono::steady_clock;
    enum class End { asked, serverGone };

    std::unique_ptr<Recorder> makeRecorder();
    std::unique_ptr<PlotOutput> makePlot() const;
    void remarkOnBuffer();
    void startWorkers();
    void startReceiver();
    End watch(const SignalEvents& signals);
    End stopReceiver(End end);
    Clock::time_point nextEvent() const;
    bool timeIsOver() const;
    void present();
    Figures figures(const Analyser::Result& result, double measuredRate);
    ExitStatus conclude(End end);
    ExitStatus judge(End end, const Figures& total);
    bool outputFailed(const Figures& total);
    bool writePicture(const Figures& total);
    void note(const std::string& line);

    const Options& options_;
    Presenter& presenter_;
    std::ostream& notes_;
    client::UniqueFd stop_;
    std::unique_ptr<Recorder> recorder_; ///< null when nothing is to be recorded
    std::unique_ptr<PlotOutput> plot_;   ///< null when no picture is to be drawn
    Analyser analyser_;
    client::DatagramReceiver receiver_;
    client::ControlClient client_;
    StreamFacts facts_;
    Clock::time_point begin_;
    Clock::time_point nextSecond_;
    Clock::time_point nextSpectrum_;
    Clock::time_point end_; ///< far away when the length is not known
    Figures latest_;
};

} // namespace feedline::probe
