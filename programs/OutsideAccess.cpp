// SPDX-License-Identifier: MIT
#include "programs/OutsideAccess.h"

#include "platform/ServiceManager.h"
#include "platform/dbus/ServerObject.h"
#include "programs/ServerState.h"

#include <QSocketNotifier>

#include <chrono>
#include <string>
#include <utility>

namespace feedline {
namespace {

constexpr std::chrono::seconds lookInterval{1};
constexpr std::chrono::milliseconds settleInterval{10};
constexpr int mostSettleIntervals =
    100; ///< for a server thread that got no socket and never says so

/// One line for whoever asks the service manager. The status line alone would say "waiting" after a
/// launch that found no receiver.
std::string serviceStatus(const ServerControls& controls) {
    if (!launchFailed())
        return controls.tcpStatus->stringValue();
    const std::string alert = controls.lastAlert().text;
    return "Nothing listens: " + (alert.empty() ? "the receiver could not be opened" : alert);
}

} // namespace

struct OutsideAccess::Doors {
    Doors(QtMainThread& mainThread, const ServerControls& controls)
        : thread(mainThread), object(mainThread, dbus::busOfThisProcess(), controls),
          notifier(object.descriptor(), QSocketNotifier::Read), controls(controls) {
        QObject::connect(&notifier, &QSocketNotifier::activated, [this] { object.dispatch(); });
    }

    void open() {
        object.start();
        reportLaunch(mostSettleIntervals);
        if (const auto interval = aliveInterval())
            thread.performRepeatedly(*interval, reportAlive);
    }

    /// As soon as the server's thread has got as far as to listen.
    void reportLaunch(int intervalsLeft) {
        if (!launchIsOver() && intervalsLeft > 0)
            return thread.performAfterDelay(
                settleInterval, [this, intervalsLeft] { reportLaunch(intervalsLeft - 1); });
        told = serviceStatus(controls);
        reportReady(told);
        thread.performRepeatedly(lookInterval, [this] { tellStatus(); });
    }

    void tellStatus() {
        std::string status = serviceStatus(controls);
        if (status == told)
            return;
        told = std::move(status);
        reportStatus(told);
    }

    QtMainThread& thread;
    dbus::ServerObject object;
    QSocketNotifier notifier;
    ServerControls controls;
    std::string told;
};

OutsideAccess::OutsideAccess(QtMainThread& mainThread, KeptAlert& alert,
                             const ServerControls& controls)
    : doors_(std::make_unique<Doors>(mainThread, controls)) {
    alert.onAlert = [this] {
        doors_->object.alertShown();
    };
}

OutsideAccess::~OutsideAccess() = default;

void OutsideAccess::open() {
    doors_->thread.perform([this] { doors_->open(); });
}

} // namespace feedline
