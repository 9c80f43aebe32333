// One run of the receiver, from the connection to the summary.
#pragma once

#include "probe/Analyser.h"
#include "probe/ControlClient.h"
#include "probe/DatagramReceiver.h"
#include "probe/ExitStatus.h"
#include "probe/Figures.h"
#include "probe/Options.h"
#include "probe/PlotOutput.h"
#include "probe/Recorder.h"

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
    ReceptionFigures reception() const { return m_receiver.figures(); }

private:
    using Clock = std::chrono::steady_clock;
    enum class End { Asked, ServerGone };

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

    const Options& m_options;
    Presenter& m_presenter;
    std::ostream& m_notes;
    UniqueFd m_stop;
    std::unique_ptr<Recorder> m_recorder; ///< null when nothing is to be recorded
    std::unique_ptr<PlotOutput> m_plot;   ///< null when no picture is to be drawn
    Analyser m_analyser;
    DatagramReceiver m_receiver;
    ControlClient m_client;
    StreamFacts m_facts;
    Clock::time_point m_begin;
    Clock::time_point m_nextSecond;
    Clock::time_point m_nextSpectrum;
    Clock::time_point m_end; ///< far away when the length is not known
    Figures m_latest;
};

} // namespace feedline::probe
